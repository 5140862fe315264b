// Encrypted files: those of each scheme that other programs made (where the machine has them), and
// our own, encrypted here by an encryptor that shares only libcrypto with the product.

#include "data/utf.h"
#include "drivers/access/connected.h"
#include "drivers/access/encryption/agile_description.h"
#include "drivers/access/encryption/page_cipher.h"
#include "drivers/access/file_bytes.h"
#include "drivers/access/pages/header_mask.h"
#include "drivers/access/writing_fixture.h"
#include "support/child_process.h"

#include <openssl/evp.h>

#include <filesystem>
#include <random>

namespace vantry::access {
namespace {

namespace fs = std::filesystem;
using test::ConnectTo;
using test::RowsBy;
using Strings = std::vector<std::string>;
using Bytes = std::vector<unsigned char>;

const std::string kPassword = "S3cr3t-Ünique";

// ---- An encryptor: agile, SHA-512, AES-256, few rounds -----------------------------------------

Bytes Sha512(const Bytes& first, const Bytes& second = {}) {
    Bytes all = first;
    all.insert(all.end(), second.begin(), second.end());
    Bytes hash(64);
    EVP_Digest(all.data(), all.size(), hash.data(), nullptr, EVP_sha512(), nullptr);
    return hash;
}
Bytes Cut(Bytes bytes, std::size_t size) {
    bytes.resize(size, 0x36);
    return bytes;
}
Bytes Aes256(const Bytes& key, const Bytes& iv, Bytes bytes) {
    EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
    int written = 0;
    EVP_EncryptInit_ex(context, EVP_aes_256_cbc(), nullptr, key.data(), iv.data());
    EVP_CIPHER_CTX_set_padding(context, 0);
    EVP_EncryptUpdate(
        context, bytes.data(), &written, bytes.data(), static_cast<int>(bytes.size()));
    EVP_CIPHER_CTX_free(context);
    return bytes;
}
Bytes Number(std::uint32_t value) {
    return {static_cast<unsigned char>(value),
            static_cast<unsigned char>(value >> 8),
            static_cast<unsigned char>(value >> 16),
            static_cast<unsigned char>(value >> 24)};
}
std::string Base64(const Bytes& bytes) {
    std::string text(bytes.size() * 2 + 4, '\0');
    const int size = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                     bytes.data(),
                                     static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(size));
    return text;
}

struct Encryptor {
    static constexpr std::uint32_t kFileKey = 0x5EC0DE01;
    static constexpr std::uint32_t kSpins = 1000;
    Bytes page_salt = Bytes(16, 0xA1);
    Bytes password_salt = Bytes(16, 0xB2);
    Bytes page_key = Bytes(32, 0xC3);

    std::string Xml(const std::string& password) const {
        const auto units = Utf16FromUtf8(password);
        Bytes secret;
        for (const char16_t unit : units) {
            secret.push_back(static_cast<unsigned char>(unit));
            secret.push_back(static_cast<unsigned char>(unit >> 8));
        }
        Bytes hash = Sha512(password_salt, secret);
        for (std::uint32_t i = 0; i < kSpins; ++i) {
            hash = Sha512(Number(i), hash);
        }
        const auto seal = [&](const Bytes& purpose, const Bytes& content) {
            return Base64(Aes256(Cut(Sha512(hash, purpose), 32), password_salt, content));
        };
        const Bytes verifier(16, 0xD4);
        const std::string common =
            " saltSize=\"16\" blockSize=\"16\" keyBits=\"256\" hashSize=\"64\" "
            "cipherAlgorithm=\"AES\" cipherChaining=\"ChainingModeCBC\" hashAlgorithm=\"SHA512\"";
        return "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n<encryption "
               "xmlns=\"http://schemas.microsoft.com/office/2006/encryption\" "
               "xmlns:k=\"http://schemas.microsoft.com/office/2006/keyEncryptor/password\">"
               "<keyData" +
               common + " saltValue=\"" + Base64(page_salt) +
               "\"/><keyEncryptors><keyEncryptor "
               "uri=\"http://schemas.microsoft.com/office/2006/keyEncryptor/password\">"
               "<k:encryptedKey spinCount=\"" +
               std::to_string(kSpins) + "\"" + common + " saltValue=\"" + Base64(password_salt) +
               "\" encryptedVerifierHashInput=\"" +
               seal({0xFE, 0xA7, 0xD2, 0x76, 0x3B, 0x4B, 0x9E, 0x79}, verifier) +
               "\" encryptedVerifierHashValue=\"" +
               seal({0xD7, 0xAA, 0x0F, 0x6D, 0x30, 0x61, 0x34, 0x4E}, Sha512(verifier)) +
               "\" encryptedKeyValue=\"" +
               seal({0x14, 0x6E, 0x0B, 0xE7, 0xAB, 0xAC, 0xD0, 0xD6}, page_key) +
               "\"/></keyEncryptor></keyEncryptors></encryption>";
    }

    // Makes an encrypted file of a plain one.
    void Encrypt(const fs::path& path, const std::string& xml) const {
        constexpr std::size_t kPage = 4096;
        test::FileBytes file(path);
        for (std::size_t page = 1; page < file.bytes.size() / kPage; ++page) {
            auto* const at = reinterpret_cast<unsigned char*>(file.bytes.data() + page * kPage);
            const auto block = Number(kFileKey ^ static_cast<std::uint32_t>(page));
            const auto sealed =
                Aes256(page_key, Cut(Sha512(page_salt, block), 16), Bytes(at, at + kPage));
            std::copy(sealed.begin(), sealed.end(), at);
        }
        const auto header = std::span(file.bytes).first(kPage);
        MaskHeader(kJet4Layout, header);
        const auto key = Number(kFileKey);
        std::memcpy(header.data() + kEncryptionKeyOffset, key.data(), key.size());
        for (std::size_t i = 0; i < kPasswordLengthJet4; ++i) {
            header[kPasswordOffset + i] ^= std::byte{key[0]};
        }
        MaskHeader(kJet4Layout, header);
        const auto length = static_cast<std::uint16_t>(xml.size() + 8);
        std::memcpy(header.data() + kOfficeEncryptionOffset, &length, sizeof(length));
        const unsigned char versions[] = {4, 0, 4, 0, 0x40, 0, 0, 0};
        std::memcpy(header.data() + kOfficeEncryptionOffset + 2, versions, sizeof(versions));
        std::memcpy(header.data() + kOfficeEncryptionOffset + 10, xml.data(), xml.size());
        file.Save(path);
    }
};

// ---- What all of these tests ask ---------------------------------------------------------------

std::string Refusal(const fs::path& path, const std::string& password) {
    return ErrorOf([&] { ConnectTo(path, password); });
}

// Other passwords, all of them wrong.
Strings NearMisses(const std::string& password) {
    Strings wrong = {"", "Falsch-42", password + "x", password.substr(0, password.size() - 1)};
    std::string other_case = password;
    for (char& letter : other_case) {
        if (std::isalpha(static_cast<unsigned char>(letter)) != 0) {
            letter = static_cast<char>(letter ^ 0x20);
        }
    }
    wrong.push_back(other_case);
    return wrong;
}

void ExpectOnlyThisPassword(const fs::path& path, const std::string& password) {
    for (const auto& wrong : NearMisses(password)) {
        const auto error = Refusal(path, wrong);
        EXPECT_TRUE(Has(error, "Not a valid password")) << wrong << ": " << error;
        EXPECT_TRUE(password != kPassword || wrong.empty() || !Has(error, wrong));
    }
    EXPECT_EQ(Refusal(path, password), "");
}

bool HoldsText(const fs::path& path, const std::string& ascii) {
    std::ifstream in(path, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(in), {}};
    std::string wide;
    for (const char letter : ascii) {
        wide += letter;
        wide += '\0';
    }
    return content.find(ascii) != std::string::npos || content.find(wide) != std::string::npos;
}

// Rows go in, are changed and deleted, 1,000 times in all; then the file must still be right, and
// nothing of the content may be readable in it.
void ChangeAndCheck(const fs::path& path, const std::string& password) {
    const auto connection = ConnectTo(path, password);
    connection->Execute("create table made (id long primary key, t text(100), m memo)");
    std::mt19937 random(7);
    std::map<int, std::string> model;
    for (int step = 0; step < 1000; ++step) {
        const int id = static_cast<int>(random() % 300);
        const std::string text = "PLAINTEXT " + std::to_string(step);
        if (!model.contains(id)) {
            connection->Execute("insert into made values (" + std::to_string(id) + ", '" + text +
                                "', '" + std::string(random() % 6000, 'm') + "')");
            model[id] = text;
        } else if (step % 3 == 0) {
            connection->Execute("delete from made where id = " + std::to_string(id));
            model.erase(id);
        } else {
            connection->Execute("update made set t = '" + text +
                                "' where id = " + std::to_string(id));
            model[id] = text;
        }
    }
    Strings expected;
    for (const auto& [id, text] : model) {
        expected.push_back(std::to_string(id) + "|" + text);
    }
    EXPECT_EQ(RowsBy(*ConnectTo(path, password), "select id, t from made order by id"), expected);
    EXPECT_EQ(Verify(path, password).Text(), "");
    EXPECT_FALSE(HoldsText(path, "PLAINTEXT"));
    if (!password.empty()) {
        ExpectOnlyThisPassword(path, password);
    }
}

class Encryption : public WithoutSync {
protected:
    fs::path Ours() {
        const auto path = folder_ / "ours.accdb";
        CreateDatabaseFile(path);
        {
            Opened opened(path.string());
            opened.Create("t", {Column("n", "LONG"), Column("memo", "MEMO")});
            opened.Insert("t", {Cell::Int64(1), Cell::Text(std::string(10000, 'x'))});
        }
        Encryptor().Encrypt(path, Encryptor().Xml(kPassword));
        return path;
    }
};

TEST_F(Encryption, AFileIsReadAndWrittenWithItsPasswordOnly) {
    const auto path = Ours();
    EXPECT_EQ(RowsBy(*ConnectTo(path, kPassword), "select n, len(memo) from t"),
              Strings{"1|10000"});
    ExpectOnlyThisPassword(path, kPassword);
    ChangeAndCheck(path, kPassword);
}

TEST_F(Encryption, FilesOfEachSchemeAreReadAndWritten) {
    const fs::path shared = fs::path(VANTRY_SHARED_DATA) / "access-encrypted";
    if (!fs::exists(shared)) {
        GTEST_SKIP() << shared << " isn't there";
    }
    const std::string umlauts = "Pässwörd-€";
    const struct {
        const char* file;
        std::string password;
        const char* sql;
        const char* like;  // a file of the same content
    } cases[] = {
        {"db2007-oldenc.accdb", "Test123", "select * from Table1", "db2007-enc.accdb"},
        {"db2007-enc.accdb", "Test123", "select * from Table1", ""},
        {"db-nonstandard.accdb", "password", "select * from Table_One", ""},
        {"agile-sha512-256.accdb", umlauts, "select * from Table_One", "db-nonstandard.accdb"},
        {"agile-sha384-192.accdb", umlauts, "select * from Table_One", "db-nonstandard.accdb"},
        {"ecma256.accdb", umlauts, "select * from Table_One", "db-nonstandard.accdb"},
        {"rc4capi128.accdb", umlauts, "select * from Table_One", "db-nonstandard.accdb"},
    };
    std::map<std::string, Strings> rows;
    for (const auto& one : cases) {
        SCOPED_TRACE(one.file);
        const auto path = folder_ / one.file;
        fs::copy_file(shared / one.file, path);
        fs::permissions(path, fs::perms::owner_write, fs::perm_options::add);
        rows[one.file] = RowsBy(*ConnectTo(path, one.password), one.sql);
        EXPECT_EQ(rows[one.file].size(), 1U);
        ChangeAndCheck(path, one.password);
    }
    for (const auto& one : cases) {
        if (*one.like != '\0') {
            EXPECT_EQ(rows[one.file], rows[one.like]) << one.file;
        }
    }
    for (const char* encoded : {"db97-enc.mdb", "db-enc.mdb"}) {
        const auto path = folder_ / encoded;
        fs::copy_file(shared / encoded, path);
        EXPECT_EQ(RowsBy(*ConnectTo(path, ""), "select * from Table1").size(), 2U) << encoded;
        if (encoded == std::string("db-enc.mdb")) {  // files of Access 97 are only read
            fs::permissions(path, fs::perms::owner_write, fs::perm_options::add);
            ChangeAndCheck(path, "");
        }
    }
}

TEST_F(Encryption, AKilledWriteLosesNothingAndLeavesNothingPlain) {
    const auto original = Ours();
    const std::string marker = "PLAINTEXT";
    int killed = 0;
    int most = 0;
    for (int point = 0; point < 60; point += 3) {
        const auto path = folder_ / "killed.accdb";
        fs::remove(path.string() + "-journal");
        fs::copy_file(original, path, fs::copy_options::overwrite_existing);
        const auto ended = test::RunChild([&](const test::Report& report) {
            test::KillAt plan(point, point % 2 == 0 ? 512 : 0, test::Planted::Nothing);
            const test::InstalledPlan plan_installed(plan);
            const auto connection = ConnectTo(path, kPassword);
            for (int row = 2; row < 20; ++row) {
                connection->Execute("insert into t values (" + std::to_string(row) + ", '" +
                                    marker + std::string(5000, 'y') + "')");
                report();
            }
        });
        killed += ended.killed ? 1 : 0;
        EXPECT_FALSE(HoldsText(path, marker));
        const auto journal = path.string() + "-journal";
        EXPECT_FALSE(fs::exists(journal) && HoldsText(journal, marker));
        const auto rows = RowsBy(*ConnectTo(path, kPassword), "select n from t order by n");
        most = std::max(most, static_cast<int>(rows.size()));
        for (std::size_t row = 0; row < rows.size(); ++row) {
            EXPECT_EQ(rows[row], std::to_string(row + 1)) << "killed at " << point;
        }
        EXPECT_GE(rows.size(), 1 + ended.steps) << "killed at " << point;
        EXPECT_EQ(Verify(path, kPassword).Text(), "") << "killed at " << point;
    }
    EXPECT_GT(killed, 10);
    EXPECT_GT(most, 2);
}

TEST_F(Encryption, ADamagedDescriptionIsAnErrorThatSaysSo) {
    const Encryptor encryptor;
    const std::string good = encryptor.Xml(kPassword);
    const auto replaced = [&](const std::string& from, const std::string& to) {
        std::string xml = good;
        xml.replace(xml.find(from), from.size(), to);
        return xml;
    };
    const std::pair<std::string, const char*> cases[] = {
        {good.substr(0, good.size() - 1), "isn't well-formed"},
        {replaced("spinCount=\"1000\"", "spinCount=\"99999999\""), "wrong spinCount"},
        {replaced("spinCount=\"1000\"", "spinCount=\"-1\""), "wrong spinCount"},
        {replaced("saltSize=\"16\"", "saltSize=\"17\""), "wrong saltSize"},
        {replaced("encryptedKeyValue=\"", "encryptedKeyValue=\"A"), "wrong encryptedKeyValue"},
        {replaced("encryptedKeyValue", "encryptedKeyVolue"), "lacks encryptedKeyValue"},
        {replaced("\"AES\"", "\"DES\""), "isn't known here (cipherAlgorithm DES)"},
        {replaced("ChainingModeCBC", "ChainingModeCFB"), "isn't known here (cipherChaining"},
        {replaced("SHA512", "WHIRL"), "isn't known here (hashAlgorithm"},
        {replaced("keyBits=\"256\"", "keyBits=\"512\""), "isn't known here (keyBits"},
        {replaced("k:encryptedKey", "k:other"), "no password opens"},
        {replaced("<encryption ", "<!DOCTYPE encryption [<!ENTITY a \"b\">]><encryption "),
         "document type"},
    };
    for (const auto& [xml, says] : cases) {
        const auto error = ErrorOf([&] { ParseAgileDescription(xml, "shop.accdb"); });
        EXPECT_TRUE(Has(error, says)) << says << ": " << error;
        EXPECT_TRUE(Has(error, "shop.accdb"));
    }

    // Every byte of the header and the description in turn: an error, or the file as it was.
    const auto path = Ours();
    const test::FileBytes original(path);
    for (std::size_t at = kMaskedOffset; at < kOfficeEncryptionOffset + 10 + good.size(); ++at) {
        if (at == 0x98) {
            at = kOfficeEncryptionOffset;
        }
        const std::size_t spin = kOfficeEncryptionOffset + 10 + good.find("spinCount");
        if (at >= spin && at < spin + 17) {
            continue;  // a million rounds take their time
        }
        auto bytes = original.bytes;
        bytes[at] ^= std::byte{0x11};
        try {
            auto header = ParseFileHeader(bytes, "bent.accdb");
            Unlock(header, bytes, kPassword, "bent.accdb");
            MemoryPageSource source(bytes, std::move(header), "bent.accdb");
            CheckDecryption(source);
        } catch (const DataError& error) {
            EXPECT_TRUE(Has(error.Description(), "bent.accdb"));
        }
    }
}

}  // namespace
}  // namespace vantry::access
