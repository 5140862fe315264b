#include "repository/repository.h"

#include "files/error_of.h"
#include "files/file_lock.h"
#include "files/journal.h"
#include "repository/saved_session.h"
#include "support/fault_plans.h"
#include "support/session_steps.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace vantry {
namespace {

constexpr const char* kSources[] = {
    "ACCESS", "FOXPRO", "ORACLE", "MySQL", "MSSQL", "ODBC", "TEXT", "TEXTPOLL"};
constexpr const char* kTargets[] = {"ACCESS", "FOXPRO", "ORACLE", "MySQL", "MSSQL", "TEXT"};
const DateTime kNow{46347, 69'180'000'000'000};  // 2026-11-21 19:13:00

class Repository : public testing::Test {
protected:
    Repository() {
        InitSharedState(folder_.Path().string());
        SrcTables.clear();
        DstTables.clear();
        ColMaps.clear();
    }

    static SessionSave Named(const std::string& name) {
        SessionSave save;
        save.SesName = name;
        save.LogName = "/var/log/" + name + ".log";
        SetDaily(save, {46347, 23'400'000'000'000});
        return save;
    }

    static std::optional<SavedSession> Found(i32 id) {
        Connection repository;
        repository.Open(RepoConnStr);
        return FindSession(repository, id);
    }

    // A session of the kinds in which every stored field holds a value of its own.
    static void MakeSession(const std::string& source, const std::string& target) {
        SourceType = source;
        TargetType = target;
        const bool text_source = source == "TEXT" || source == "TEXTPOLL";
        SourceConnStr = text_source
                            ? "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=/data/in;Extended "
                              "Properties=\"text;FMT=Delimited\";\""
                            : "DSN=it's;UID=u;PWD=pä;w'd";
        TargetConnStr = "Provider=Microsoft.ACE.OLEDB.12.0;Data Source=/data/Ziel Köln.accdb";
        FoxSrcMode = source == "FOXPRO" ? "DIR" : "";
        FoxSrcPrefix = source == "FOXPRO" ? "/data/fox/" : "";
        FoxDestMode = target == "FOXPRO" ? "DBC" : "";
        FoxDestPrefix = "";
        PollPattern = source == "TEXTPOLL" ? "*.csv" : "";
        PollRename = source == "TEXTPOLL" ? "Loaded" : "";
        PollFolder = source == "TEXTPOLL" ? "/data/poll/" : "";
        TextDestFormat = "DELIMITED";
        TextDestDir = "/data/out";
        TextDestExt = ".tab";
        TextDestDelim = "\t";
        TextDestHeader = kTrue;
        TextDestQual = "\"";
        SrcTables.clear();
        DstTables.clear();
        ColMaps.clear();
        for (i16 i = 0; i < 2; ++i) {
            TableRec table;
            table.TabID = i;
            table.Name = "orders " + std::to_string(i);
            table.Owner = "dbo";
            table.WhereCond = "city = 'Malmö' and qty > 0";
            table.LoadOption = i == 0 ? "APPEND" : "DROP";
            table.TableExists = i == 0 ? kFalse : kTrue;
            table.FirstTimeLoadOpt = i == 0 ? "CREATE" : "";
            table.SFormat = i == 0 ? ";" : "\"";
            table.TextQ = i == 0 ? "\"" : "'";
            table.SFirstColLine = 1;
            SrcTables.push_back(table);
            table.Name = "Ziel" + std::to_string(i);
            DstTables.push_back(table);
            for (i16 k = 0; k < 3; ++k) {
                ColMaps.push_back({static_cast<double>(i),
                                   table.Name,
                                   k == 2 ? SkipLabel : "col " + std::to_string(k),
                                   "ziel_" + std::to_string(k),
                                   3,
                                   3,
                                   "Text",
                                   "VarChar",
                                   40,
                                   80,
                                   2,
                                   3,
                                   kFalse,
                                   static_cast<i16>(i * 3 + k),
                                   k,
                                   static_cast<i16>(k == 2 ? 0 : 1),
                                   "VarWchar"});
            }
        }
    }

    test::TempDir folder_{test::MemoryFolder(), "vantry"};
};

// All statements that save the session in memory.
std::string Statements(const SessionSave& save) {
    std::string statements = SessionsInsert(7, save, kNow) + "\n";
    for (std::size_t i = 0; i < SrcTables.size(); ++i) {
        statements += TableInsert(7, i) + "\n";
    }
    for (const auto& column : ColMaps) {
        statements += ColumnInsert(7, static_cast<i16>(column.TabID), column) + "\n";
    }
    return statements;
}

// The golden files were written from the rules for these texts, not by this program. What comes
// back makes the same statements again, so that no field can be lost or changed.
TEST_F(Repository, EveryPairOfKindsEqualsItsGoldenStatementsAndComesBackFieldForField) {
    const DateForm form = LocalDateForm();
    SetLocalDateForm({});
    CreateRepository(folder_.Path().string(), kNow);
    i32 expected_id = 1;
    for (const char* source : kSources) {
        std::string all;
        for (const char* target : kTargets) {
            const std::string pair = std::string(source) + " to " + target;
            MakeSession(source, target);
            const auto statements = Statements(Named("s"));
            all += "-- " + pair + "\n" + statements;
            const std::string fox = FoxSrcMode + "|" + FoxDestMode;
            EXPECT_EQ(NextSessionID(), expected_id);
            ASSERT_EQ(SaveSession(Named("s")), expected_id) << pair;
            EXPECT_EQ(CurrentSessionID, expected_id);
            MakeSession("ODBC", "ORACLE");  // something else in memory
            const auto session = LoadSession(expected_id++);
            ASSERT_TRUE(session);
            EXPECT_EQ(Statements(Named("s")), statements) << pair;
            EXPECT_EQ(FoxSrcMode + "|" + FoxDestMode, fox) << pair;
            EXPECT_EQ(session->LogFileName, "/var/log/s.log");
            EXPECT_EQ(session->Schedule.SesFreq, "D");
            EXPECT_EQ(session->Schedule.SesRunTime, 23'400'000'000'000);
        }
        std::ifstream golden(std::string(VANTRY_GOLDEN) + "/" + source + ".sql", std::ios::binary);
        EXPECT_EQ(all, std::string(std::istreambuf_iterator<char>(golden), {})) << source;
    }
    SetLocalDateForm(form);
    EXPECT_FALSE(LoadSession(expected_id));
    const auto sessions = ListSessions();
    ASSERT_EQ(sessions.size(), 48U);
    EXPECT_EQ(sessions.front().SessionID, 48);
    EXPECT_EQ(sessions.back().SourceDBName, "ACCESS");
}

// What the pairs of kinds above have none of.
TEST_F(Repository, ASingleQuoteInANameAndQualifiersOfTheirOwnStandInTheStatements) {
    MakeSession("TEXTPOLL", "TEXT");
    SrcTables[1].TextQ = "";
    TextDestQual = "#";
    EXPECT_TRUE(SessionsInsert(12, Named("a'b"), kNow).find(" values ( 12,\"a'b\",\"") !=
                std::string::npos);
    // The engine would tell what stands behind a double quote as the statement's rest.
    CreateRepository(folder_.Path().string(), kNow);
    TargetConnStr = "Data Source=/a.mdb;PWD=ab\"topsecret";
    const auto error = test::ErrorOf([&] { SaveSession(Named("s")); });
    EXPECT_TRUE(!error.empty() && error.find("topsecret") == std::string::npos) << error;
    EXPECT_TRUE(TableInsert(12, 1).ends_with(
        ",1,\"DROP\",\"\",'\"',null,\"1\",\"DELIMITED\",\"/data/out\",\".tab\",\"\t\",1,\"#\")"))
        << TableInsert(12, 1);
}

TEST_F(Repository, ColumnsKeepTheirOrderWherePosRunsOver) {
    CreateRepository(folder_.Path().string(), kNow);
    MakeSession("ACCESS", "MySQL");
    ColMaps.resize(2);
    for (std::size_t row = 0; row < 2; ++row) {
        ColMaps[row].TabID = 0;
        ColMaps[row].SCName = row == 0 ? "first" : "second";
        ColMaps[row].Pos = row == 0 ? i16{32767} : i16{-32768};
        ColMaps[row].CPos = static_cast<i16>(row);
    }
    SaveSession(Named("wide"));
    ASSERT_TRUE(LoadSession(1));
    ASSERT_EQ(ColMaps.size(), 2U);
    EXPECT_EQ(ColMaps[0].SCName + " " + ColMaps[1].SCName, "first second");
}

TEST_F(Repository, AnEditChangesNameLogAndScheduleAlone) {
    CreateRepository(folder_.Path().string(), kNow);
    MakeSession("ACCESS", "MySQL");
    SaveSession(Named("before"));
    SaveSession(Named("other"));
    SessionSave edit;
    edit.SesName = "it's after";
    edit.LogName = "/var/log/after.log";
    SetMonthlyUnquoted(edit, {46347, 0}, "31");
    EXPECT_EQ(SessionUpdate(1, edit),
              "Update Sessions Set SessionName=\"it's after\",LogFileName=\"/var/log/after.log\","
              "SesFreq=\"M\",SesRunTime=\"" +
                  ToText(Cell::FromDateTime({46347, 0})) +
                  "\",SesRunDate=Null,SesRunDay=31,SesWeekDay=Null Where SessionId=1");
    EditSession(1, edit);
    const auto edited = Found(1);
    ASSERT_TRUE(edited);
    EXPECT_EQ(edited->SessionName, "it's after");
    EXPECT_EQ(edited->Schedule.SesFreq, "M");
    EXPECT_EQ(Found(2)->SessionName, "other");
    ASSERT_TRUE(LoadSession(1));
    EXPECT_EQ(SrcTables.size(), 2U);
}

TEST_F(Repository, DeletingTakesRowsAndLogsAway) {
    CreateRepository(folder_.Path().string(), kNow);
    MakeSession("ACCESS", "MySQL");
    auto save = Named("one");
    save.LogName = folder_.Write("one.log", "Started loading at :2026-11-21 19:13:00").string();
    SaveSession(save);
    save.LogName = (folder_ / "gone.log").string();
    SaveSession(save);
    DeleteSession(1);
    EXPECT_FALSE(std::filesystem::exists(folder_ / "one.log"));
    EXPECT_FALSE(LoadSession(1));
    ASSERT_TRUE(LoadSession(2));
    EXPECT_EQ(SrcTables.size(), 2U);
    DeleteSession(2);
    EXPECT_TRUE(ListSessions().empty());

    // What was named as the log by mistake stays, whatever it is.
    folder_.Write("thesis.odt", "Chapter one");
    std::filesystem::create_symlink(folder_ / "thesis.odt", folder_ / "link.log");
    std::filesystem::create_directory(folder_ / "folder.log");
    for (const char* name : {"thesis.odt", "link.log", "folder.log"}) {
        save.LogName = (folder_ / name).string();
        DeleteSession(SaveSession(save));
        EXPECT_TRUE(std::filesystem::exists(folder_ / name)) << name;
    }
    save.LogName = (folder_ / "gone.log").string();
    EXPECT_EQ(NextSessionID(), 1);

    // The mark of a run that died: the number is another session's now.
    folder_.Write("log/session1.lock", "unfinished\n");
    SaveSession(save);
    EXPECT_EQ(folder_.Read("log/session1.lock"), "");
    std::filesystem::create_directory(folder_ / "log");
    folder_.Write("log/a.log", "");
    folder_.Write("log/B.LOG", "");
    folder_.Write("log/keep.txt", "");
    DeleteAllSessions(folder_.Path().string());
    EXPECT_FALSE(std::filesystem::exists(folder_ / "log/a.log"));
    EXPECT_FALSE(std::filesystem::exists(folder_ / "log/B.LOG"));
    EXPECT_TRUE(std::filesystem::exists(folder_ / "log/keep.txt"));
    EXPECT_EQ(test::RowsOf(RepoConnStr, "select count(*) from SrcDCols"), "0\n");
}

TEST_F(Repository, ANewOneKeepsACopyOfTheOldOneAndAllArePrivate) {
    const std::string folder = folder_.Path().string();
    CreateRepository(folder, kNow);
    MakeSession("ACCESS", "MySQL");
    SaveSession(Named("kept"));
    CreateRepository(folder, kNow);
    EXPECT_TRUE(ListSessions().empty());
    EXPECT_EQ(test::ModeOf(RepositoryFile(folder)), 0600U);
    EXPECT_EQ(test::ModeOf(folder_ / "VYRepo211126_19_13"), 0600U);

    // What comes back holds passwords, however the file was passed on.
    std::filesystem::permissions(folder_ / "VYRepo211126_19_13", std::filesystem::perms{0644});
    test::OrderOfCalls calls;
    {
        const test::InstalledPlan installed(calls);
        RestoreRepository(folder, folder_ / "VYRepo211126_19_13", kNow);
    }
    EXPECT_TRUE(calls.order.ends_with("snf")) << calls.order << ": on the disk, then its name";
    EXPECT_EQ(test::ModeOf(RepositoryFile(folder)), 0600U);
    EXPECT_EQ(ListSessions().size(), 1U);
    BackupRepository(folder, folder_ / "backup");
    EXPECT_EQ(test::ModeOf(folder_ / "backup/VYRepo.mdb"), 0600U);
    EXPECT_THROW(BackupRepository(folder, folder_ / "backup"), DataError)
        << "the folder is there already";
    EXPECT_THROW(RestoreRepository(folder, folder_ / "nosuch.mdb", kNow), DataError);
    EXPECT_EQ(ListSessions().size(), 1U);
    // A backup that failed can be tried again under its name.
    std::filesystem::rename(RepositoryFile(folder), folder_ / "away");
    EXPECT_THROW(BackupRepository(folder, folder_ / "again"), DataError);
    std::filesystem::rename(folder_ / "away", RepositoryFile(folder));
    BackupRepository(folder, folder_ / "again");
}

// Whoever reads it would find the pages of two files, and whoever writes it would write into a file
// without a name.
TEST_F(Repository, ItIsNotReplacedWhileAnotherProgramReadsOrWritesIt) {
    const std::string folder = folder_.Path().string();
    CreateRepository(folder, kNow);
    BackupRepository(folder, folder_ / "backup");
    MakeSession("ACCESS", "MySQL");
    SaveSession(Named("kept"));
    const auto timeout = file::LockTimeout();
    file::SetLockTimeout(std::chrono::milliseconds(20));
    for (const auto byte : {file::LockByte::Content, file::LockByte::Writer}) {
        auto other = file::File::OpenIfThere(RepositoryFile(folder), file::OpenMode::ReadWrite);
        ASSERT_TRUE(other);
        const bool reads = byte == file::LockByte::Content;
        file::Lock(*other, byte, reads ? file::LockKind::Shared : file::LockKind::Exclusive);
        EXPECT_THROW(RestoreRepository(folder, folder_ / "backup/VYRepo.mdb", kNow), DataError);
        EXPECT_THROW(CreateRepository(folder, kNow), DataError);
        other.reset();
        EXPECT_EQ(ListSessions().size(), 1U) << reads;
    }
    file::SetLockTimeout(timeout);
    RestoreRepository(folder, folder_ / "backup/VYRepo.mdb", kNow);
    EXPECT_TRUE(ListSessions().empty());
}

// A journal that can't be rolled back holds pages of the file that is given up: beside the new one
// it would be written into it, or keep everybody from opening it.
TEST_F(Repository, ABrokenJournalOfTheOldOneDoesntReachTheNewOne) {
    const std::string folder = folder_.Path().string();
    CreateRepository(folder, kNow);
    MakeSession("ACCESS", "MySQL");
    SaveSession(Named("kept"));
    BackupRepository(folder, folder_ / "backup");
    const std::string journal = file::Journal::PathFor(RepositoryFile(folder).string());
    for (const bool restore : {true, false}) {
        std::ofstream(journal) << std::string(10'000, 'j');
        EXPECT_THROW(ListSessions(), DataError);
        if (restore) {
            RestoreRepository(folder, folder_ / "backup/VYRepo.mdb", kNow);
        } else {
            CreateRepository(folder, kNow);
        }
        EXPECT_FALSE(std::filesystem::exists(journal)) << restore;
        EXPECT_EQ(ListSessions().size(), restore ? 1U : 0U);
    }
}

}  // namespace
}  // namespace vantry
