#pragma once
// A private key with a certificate of its own for 127.0.0.1, made anew for each object, and its
// files in a folder.

#include "support/temp_dir.h"

#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <string_view>

namespace vantry::test {

class TestKeys {
public:
    TestKeys();

    std::string CertificateFile() const { return (folder_ / "certificate.pem").string(); }
    std::string PrivateKeyFile() const { return (folder_ / "private.pem").string(); }
    std::string PublicKeyFile() const { return (folder_ / "public.pem").string(); }
    std::string PublicKey() const { return folder_.Read("public.pem"); }
    // SHA-1 of the certificate, in hex digits.
    std::string Fingerprint() const;
    // What was encrypted for the key; empty if it wasn't.
    std::string Decrypted(std::string_view bytes) const;
    std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> ServerContext() const;

private:
    TempDir folder_;
    std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> key_{nullptr, &EVP_PKEY_free};
    std::unique_ptr<X509, void (*)(X509*)> certificate_{nullptr, &X509_free};
};

}  // namespace vantry::test
