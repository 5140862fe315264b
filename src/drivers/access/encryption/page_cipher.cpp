#include "drivers/access/encryption/page_cipher.h"

#include "drivers/access/encryption/crypto.h"

namespace vantry::access {
namespace {

class JetEncoding : public PageCipher {
public:
    explicit JetEncoding(std::uint32_t file_key) : file_key_(file_key) {}

    void Decrypt(PageNumber page, std::span<std::byte> bytes) const override {
        // The key stands on page 0, which stays readable therefore.
        if (page != 0) {
            Rc4(LittleEndian(file_key_ ^ page)).Apply(bytes);
        }
    }
    void Encrypt(PageNumber page, std::span<std::byte> bytes) const override {
        Decrypt(page, bytes);
    }

private:
    std::uint32_t file_key_;
};

}  // namespace

std::unique_ptr<const PageCipher> MakeJetEncoding(std::uint32_t file_key) {
    return std::make_unique<JetEncoding>(file_key);
}

}  // namespace vantry::access
