// Expat reads the XML; here are only the two elements that matter, known by namespace and name, for
// prefixes differ from writer to writer. The file may be hostile: entities aren't expanded (a
// document type is refused), and every number has a limit of its own.
#include "drivers/access/encryption/agile_description.h"

#include "drivers/access/errors.h"

#include <expat.h>
#include <openssl/evp.h>

#include <charconv>
#include <memory>
#include <optional>
#include <string>

namespace vantry::access {
namespace {

constexpr char kSeparator = '|';
constexpr std::string_view kPageElement =
    "http://schemas.microsoft.com/office/2006/encryption|keyData";
constexpr std::string_view kPasswordElement =
    "http://schemas.microsoft.com/office/2006/keyEncryptor/password|encryptedKey";
// Access writes 100,000. A file that asks for more than this only means to keep the program busy.
constexpr std::uint32_t kMostSpins = 10'000'000;
constexpr std::size_t kAesBlock = 16;
constexpr std::size_t kLongestSalt = 64;

struct FreeParser {
    void operator()(XML_ParserStruct* parser) const { XML_ParserFree(parser); }
};

// Attributes of an element: names and values in turn, a null at the end.
// What is missing or wrong is told by its name: such files come from other programs, too.
class Attributes {
public:
    Attributes(const XML_Char** list, std::string_view path) : list_(list), path_(path) {}

    std::string_view Get(std::string_view name) const {
        for (const XML_Char** at = list_; *at != nullptr; at += 2) {
            if (name == at[0]) {
                return at[1];
            }
        }
        throw DamagedFile(path_, "the description of its encryption lacks " + std::string(name));
    }
    std::uint32_t Number(std::string_view name, std::uint32_t most) const {
        const auto text = Get(name);
        std::uint32_t number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc() || end != text.data() + text.size() || number > most) {
            ThrowBad(name);
        }
        return number;
    }
    std::vector<std::byte> Bytes(std::string_view name) const {
        const auto text = Get(name);
        std::vector<std::byte> bytes(text.size() / 4 * 3);
        if (text.empty() || text.size() % 4 != 0) {
            ThrowBad(name);
        }
        const int size = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                                         reinterpret_cast<const unsigned char*>(text.data()),
                                         static_cast<int>(text.size()));
        if (size < 0 || static_cast<std::size_t>(size) != bytes.size()) {
            ThrowBad(name);
        }
        // The decoder counts the filling as bytes.
        bytes.resize(bytes.size() - (text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0));
        return bytes;
    }
    [[noreturn]] void ThrowBad(std::string_view name) const {
        throw DamagedFile(path_,
                          "the description of its encryption has a wrong " + std::string(name));
    }
    std::string_view Path() const { return path_; }

private:
    const XML_Char** list_;
    std::string_view path_;
};

AgileCipherSettings ReadSettings(const Attributes& attributes) {
    const auto unknown = [&](std::string_view name) {
        throw UnknownEncryption(attributes.Path(),
                                std::string(name) + " " + std::string(attributes.Get(name)));
    };
    AgileCipherSettings settings;
    settings.salt = attributes.Bytes("saltValue");
    if (settings.salt.size() != attributes.Number("saltSize", kLongestSalt)) {
        attributes.ThrowBad("saltSize");
    }
    settings.block_size = attributes.Number("blockSize", 1024);
    if (attributes.Get("cipherAlgorithm") != "AES" || settings.block_size != kAesBlock) {
        unknown("cipherAlgorithm");
    }
    if (attributes.Get("cipherChaining") != "ChainingModeCBC") {
        unknown("cipherChaining");
    }
    const auto bits = attributes.Number("keyBits", 4096);
    if (bits != 128 && bits != 192 && bits != 256) {
        unknown("keyBits");
    }
    settings.key_size = bits / 8;
    const auto hash = HashNamed(attributes.Get("hashAlgorithm"));
    if (!hash) {
        unknown("hashAlgorithm");
    }
    settings.hash = *hash;
    return settings;
}

std::vector<std::byte> ReadBlocks(const Attributes& attributes,
                                  const char* name,
                                  std::size_t least) {
    auto bytes = attributes.Bytes(name);
    if (bytes.size() % kAesBlock != 0 || bytes.size() < least || bytes.size() > 128) {
        attributes.ThrowBad(name);
    }
    return bytes;
}

struct Reading {
    std::string_view path;
    AgileDescription out;
    bool has_pages = false;
    bool has_password = false;
    // Exceptions don't pass through a library in C: the first one waits here.
    std::optional<DataError> failure;
    XML_Parser parser = nullptr;
};

void ReadElement(Reading& reading, std::string_view name, const Attributes& attributes) {
    AgileDescription& out = reading.out;
    // A file may have several ways to its key: the first one by password is taken.
    if (name == kPageElement && !reading.has_pages) {
        out.pages = ReadSettings(attributes);
        reading.has_pages = true;
    } else if (name == kPasswordElement && !reading.has_password) {
        out.password = ReadSettings(attributes);
        out.spin_count = attributes.Number("spinCount", kMostSpins);
        out.encrypted_verifier = ReadBlocks(attributes, "encryptedVerifierHashInput", kAesBlock);
        out.encrypted_verifier_hash =
            ReadBlocks(attributes, "encryptedVerifierHashValue", SizeOf(out.password.hash));
        out.encrypted_key = ReadBlocks(attributes, "encryptedKeyValue", kAesBlock);
        reading.has_password = true;
    }
}

void Fail(Reading& reading, const DataError& error) {
    reading.failure = error;
    XML_StopParser(reading.parser, XML_FALSE);
}

void OnStart(void* data, const XML_Char* name, const XML_Char** attributes) {
    auto& reading = *static_cast<Reading*>(data);
    try {
        ReadElement(reading, name, Attributes(attributes, reading.path));
    } catch (const DataError& error) {
        Fail(reading, error);
    }
}

void OnDocumentType(void* data,
                    const XML_Char* /*name*/,
                    const XML_Char* /*system*/,
                    const XML_Char* /*public*/,
                    int) {
    auto& reading = *static_cast<Reading*>(data);
    Fail(reading,
         DamagedFile(reading.path, "the description of its encryption declares a document type"));
}

}  // namespace

AgileDescription ParseAgileDescription(std::string_view xml, std::string_view path) {
    const std::unique_ptr<XML_ParserStruct, FreeParser> parser(
        XML_ParserCreateNS("UTF-8", kSeparator));
    if (parser == nullptr) {
        throw std::bad_alloc();
    }
    Reading reading;
    reading.path = path;
    reading.parser = parser.get();
    XML_SetUserData(parser.get(), &reading);
    XML_SetStartElementHandler(parser.get(), OnStart);
    XML_SetStartDoctypeDeclHandler(parser.get(), OnDocumentType);
    // A description lies inside of page 0, so its size is small.
    const auto status = XML_Parse(parser.get(), xml.data(), static_cast<int>(xml.size()), 1);
    if (reading.failure) {
        throw DataError(*reading.failure);
    }
    if (status != XML_STATUS_OK) {
        throw DamagedFile(path, "the description of its encryption isn't well-formed");
    }
    if (!reading.has_pages) {
        throw DamagedFile(path, "the description of its encryption doesn't say how pages are kept");
    }
    if (!reading.has_password) {
        throw UnknownEncryption(path, "a key that no password opens, such as a certificate");
    }
    AgileDescription& out = reading.out;
    // The key of the pages is cut from what is decrypted, and that is as long as what is encrypted.
    if (out.encrypted_key.size() < out.pages.key_size) {
        throw DamagedFile(path, "the key in the description of its encryption is too short");
    }
    return std::move(reading.out);
}

}  // namespace vantry::access
