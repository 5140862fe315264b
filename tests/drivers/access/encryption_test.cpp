// Encrypted files: those of each scheme that other programs made (where the machine has them), and
// our own, whose description and a piece of a page were made outside the product.

#include "drivers/access/connected.h"
#include "drivers/access/encryption/agile_description.h"
#include "drivers/access/encryption/page_cipher.h"
#include "drivers/access/file_bytes.h"
#include "drivers/access/pages/header_mask.h"
#include "drivers/access/writing_fixture.h"
#include "support/child_process.h"

#include <filesystem>
#include <random>
#include <tuple>

namespace vantry::access {
namespace {

namespace fs = std::filesystem;
using test::ConnectTo;
using test::RowsBy;
using Strings = std::vector<std::string>;

const std::string kPassword = "S3cr3t-Ünique";
constexpr std::uint32_t kFileKey = 0x5EC0DE01;

// How a file says that this password opens it: agile, SHA-512, AES-256, few rounds. By it the pages
// have the key C3 C3 ..., and page 7, when it is all zeros, begins with kPage7.
constexpr std::string_view kDescription =
    R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<encryption xmlns="http://schemas.microsoft.com/office/2006/encryption"
 xmlns:k="http://schemas.microsoft.com/office/2006/keyEncryptor/password">
<keyData saltSize="16" blockSize="16" keyBits="256" hashSize="64" cipherAlgorithm="AES"
 cipherChaining="ChainingModeCBC" hashAlgorithm="SHA512" saltValue="oaGhoaGhoaGhoaGhoaGhoQ=="/>
<keyEncryptors>
<keyEncryptor uri="http://schemas.microsoft.com/office/2006/keyEncryptor/password">
<k:encryptedKey spinCount="1000" saltSize="16" blockSize="16" keyBits="256" hashSize="64"
 cipherAlgorithm="AES" cipherChaining="ChainingModeCBC" hashAlgorithm="SHA512"
 saltValue="srKysrKysrKysrKysrKysg==" encryptedVerifierHashInput="RVBBYjAZzHHMAItolfSViQ=="
 encryptedVerifierHashValue="Kmul3WacnsoW8ixYmWEslQomG/GQWVJgCtdfx3ZeLSPwCKEmK+B1NxA5n+5WVOJjBJO1P0Qy+haPQacq20VKpQ=="
 encryptedKeyValue="/8wKP078FCUBPpYKcPdg7G3izo4zdZuikYSfMvpZRx0="/>
</keyEncryptor></keyEncryptors></encryption>)";
constexpr unsigned char kPage7[] = {
    0xCE, 0x03, 0xD4, 0xEE, 0xDC, 0x68, 0x6F, 0x71, 0xE0, 0x2E, 0x5B, 0x04, 0x08, 0xF8, 0x1E, 0xBE,
    0xD3, 0xAB, 0xC9, 0x9A, 0x7C, 0xAD, 0x3D, 0x9E, 0x03, 0xF1, 0xA3, 0x1C, 0xC0, 0x99, 0x49, 0x0E};

// Makes an encrypted file of a plain one.
void Encrypt(const fs::path& path) {
    constexpr std::size_t kPage = 4096;
    test::FileBytes file(path);
    const auto header = std::span(file.bytes).first(kPage);
    MaskHeader(kJet4Layout, header);
    file.Put(kEncryptionKeyOffset, kFileKey);
    for (std::size_t i = 0; i < kPasswordLengthJet4; ++i) {
        header[kPasswordOffset + i] ^= std::byte{kFileKey & 0xFF};
    }
    MaskHeader(kJet4Layout, header);
    file.Put(kOfficeEncryptionOffset, static_cast<std::uint16_t>(kDescription.size() + 8));
    file.Put(kOfficeEncryptionOffset + 2, std::uint64_t{0x40'0004'0004});  // its version and flags
    std::memcpy(&header[kOfficeEncryptionOffset + 10], kDescription.data(), kDescription.size());
    const auto cipher = OpenOfficeCipher(header, kFileKey, kPassword, "shop.accdb");
    for (std::size_t page = 1; page < file.bytes.size() / kPage; ++page) {
        cipher->Encrypt(static_cast<PageNumber>(page),
                        std::span(file.bytes).subspan(page * kPage, kPage));
    }
    file.Save(path);
    std::vector<std::byte> zeros(kPage);
    cipher->Encrypt(7, zeros);
    EXPECT_EQ(std::memcmp(zeros.data(), kPage7, sizeof kPage7), 0);
}

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
        auto path = folder_ / "ours.accdb";
        CreateDatabaseFile(path);
        {
            Opened opened(path.string());
            opened.Create("t", {Column("n", "LONG"), Column("memo", "MEMO")});
            opened.Insert("t", {Cell::Int64(1), Cell::Text(std::string(10000, 'x'))});
        }
        Encrypt(path);
        return path;
    }
};

TEST_F(Encryption, AFileIsReadAndWrittenWithItsPasswordOnly) {
    const auto path = Ours();
    EXPECT_EQ(RowsBy(*ConnectTo(path, kPassword), "select n, len(memo) from t"),
              Strings{"1|10000"});
    ChangeAndCheck(path, kPassword);
}

TEST_F(Encryption, FilesOfEachSchemeAreReadAndWritten) {
    const fs::path shared = fs::path(VANTRY_SHARED_DATA) / "access-encrypted";
    if (!fs::exists(shared)) {
        GTEST_SKIP() << shared << " isn't there";
    }
    const std::string umlauts = "Pässwörd-€";
    // like: a file of the same content.
    const std::tuple<const char*, std::string, const char*, const char*> cases[] = {
        {"db2007-oldenc.accdb", "Test123", "select * from Table1", "db2007-enc.accdb"},
        {"db2007-enc.accdb", "Test123", "select * from Table1", ""},
        {"db-nonstandard.accdb", "password", "select * from Table_One", ""},
        {"agile-sha512-256.accdb", umlauts, "select * from Table_One", "db-nonstandard.accdb"},
        {"agile-sha384-192.accdb", umlauts, "select * from Table_One", "db-nonstandard.accdb"},
        {"ecma256.accdb", umlauts, "select * from Table_One", "db-nonstandard.accdb"},
        {"rc4capi128.accdb", umlauts, "select * from Table_One", "db-nonstandard.accdb"},
    };
    std::map<std::string, Strings> rows;
    for (const auto& [file, password, sql, like] : cases) {
        SCOPED_TRACE(file);
        const auto path = folder_ / file;
        fs::copy_file(shared / file, path);
        fs::permissions(path, fs::perms::owner_write, fs::perm_options::add);
        rows[file] = RowsBy(*ConnectTo(path, password), sql);
        EXPECT_EQ(rows[file].size(), 1U);
        ChangeAndCheck(path, password);
    }
    for (const auto& [file, password, sql, like] : cases) {
        if (*like != '\0') {
            EXPECT_EQ(rows[file], rows[like]) << file;
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
    const auto replaced = [](const std::string& from, const std::string& to) {
        std::string xml(kDescription);
        xml.replace(xml.find(from), from.size(), to);
        return xml;
    };
    const std::pair<std::string, const char*> cases[] = {
        {std::string(kDescription.substr(1)), "isn't well-formed"},
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
        const auto error = ErrorOf([&xml = xml] { ParseAgileDescription(xml, "shop.accdb"); });
        EXPECT_TRUE(Has(error, says)) << says << ": " << error;
        EXPECT_TRUE(Has(error, "shop.accdb"));
    }

    // Every byte of the header and the description in turn: an error, or the file as it was.
    const auto path = Ours();
    const test::FileBytes original(path);
    for (std::size_t at = kMaskedOffset; at < kOfficeEncryptionOffset + 10 + kDescription.size();
         ++at) {
        if (at == 0x98) {
            at = kOfficeEncryptionOffset;
        }
        const std::size_t spin = kOfficeEncryptionOffset + 10 + kDescription.find("spinCount");
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
