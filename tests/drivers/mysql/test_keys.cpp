#include "drivers/mysql/test_keys.h"

#include <openssl/pem.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace vantry::test {
namespace {

void Require(bool done) {
    if (!done) {
        throw std::runtime_error("OpenSSL can't make the keys of a test");
    }
}

void OpenSsl(const std::string& arguments) {
    Require(std::system(("openssl " + arguments + " 2>/dev/null").c_str()) == 0);
}

template <typename Read>
auto ReadFrom(const std::string& path, Read read) {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "r"), &std::fclose);
    Require(file != nullptr);
    return read(file.get(), nullptr, nullptr, nullptr);
}

}  // namespace

TestKeys::TestKeys() {
    OpenSsl(
        "req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=127.0.0.1 -addext "
        "subjectAltName=IP:127.0.0.1 -keyout " +
        PrivateKeyFile() + " -out " + CertificateFile());
    OpenSsl("pkey -pubout -in " + PrivateKeyFile() + " -out " + PublicKeyFile());
    key_.reset(ReadFrom(PrivateKeyFile(), &PEM_read_PrivateKey));
    certificate_.reset(ReadFrom(CertificateFile(), &PEM_read_X509));
    Require(key_ && certificate_);
}

std::string TestKeys::Fingerprint() const {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    Require(X509_digest(certificate_.get(), EVP_sha1(), digest.data(), &size) == 1);
    std::string hex;
    for (unsigned k = 0; k < size; ++k) {
        constexpr std::string_view kDigits = "0123456789ABCDEF";
        hex += kDigits[digest[k] >> 4];
        hex += kDigits[digest[k] & 15];
    }
    return hex;
}

std::string TestKeys::Decrypted(std::string_view bytes) const {
    const std::unique_ptr<EVP_PKEY_CTX, void (*)(EVP_PKEY_CTX*)> context(
        EVP_PKEY_CTX_new(key_.get(), nullptr), &EVP_PKEY_CTX_free);
    std::string plain(512, '\0');
    std::size_t size = plain.size();
    EVP_PKEY_decrypt_init(context.get());
    EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_OAEP_PADDING);
    if (EVP_PKEY_decrypt(context.get(),
                         reinterpret_cast<unsigned char*>(plain.data()),
                         &size,
                         reinterpret_cast<const unsigned char*>(bytes.data()),
                         bytes.size()) != 1) {
        return {};
    }
    plain.resize(size);
    return plain;
}

std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> TestKeys::ServerContext() const {
    std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context(SSL_CTX_new(TLS_server_method()),
                                                         &SSL_CTX_free);
    Require(SSL_CTX_use_certificate(context.get(), certificate_.get()) == 1 &&
            SSL_CTX_use_PrivateKey(context.get(), key_.get()) == 1);
    return context;
}

}  // namespace vantry::test
