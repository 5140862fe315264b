#include "drivers/mysql/test_keys.h"

#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <array>
#include <cstdio>
#include <stdexcept>

namespace vantry::test {
namespace {

constexpr long kLifetimeSeconds = 86'400;

void Require(bool done) {
    if (!done) {
        throw std::runtime_error("OpenSSL can't make the keys of a test");
    }
}

template <typename Write>
void WriteTo(const std::string& path, Write write) {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "w"), &std::fclose);
    Require(file && write(file.get()) == 1);
}

}  // namespace

TestKeys::TestKeys()
    : key_(EVP_RSA_gen(2048), &EVP_PKEY_free), certificate_(X509_new(), &X509_free) {
    X509* certificate = certificate_.get();
    X509_set_version(certificate, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate), -kLifetimeSeconds);
    X509_gmtime_adj(X509_getm_notAfter(certificate), kLifetimeSeconds);
    X509_set_pubkey(certificate, key_.get());
    X509_NAME* name = X509_get_subject_name(certificate);
    const std::string_view common = "127.0.0.1";
    X509_NAME_add_entry_by_txt(name,
                               "CN",
                               MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(common.data()),
                               static_cast<int>(common.size()),
                               -1,
                               0);
    X509_set_issuer_name(certificate, name);
    const std::unique_ptr<X509_EXTENSION, void (*)(X509_EXTENSION*)> names(
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, "IP:127.0.0.1"),
        &X509_EXTENSION_free);
    X509_add_ext(certificate, names.get(), -1);
    Require(X509_sign(certificate, key_.get(), EVP_sha256()) != 0);
    WriteTo(CertificateFile(), [&](FILE* file) { return PEM_write_X509(file, certificate); });
    WriteTo(PublicKeyFile(), [&](FILE* file) { return PEM_write_PUBKEY(file, key_.get()); });
    WriteTo(PrivateKeyFile(), [&](FILE* file) {
        return PEM_write_PrivateKey(file, key_.get(), nullptr, nullptr, 0, nullptr, nullptr);
    });
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
