// The help as a whole: a page for every page of the program, reached by F1 and from the start that
// the help buttons open, and no link that leads nowhere.

#include "shell/help.h"

#include "core/folders.h"
#include "programs/all_pages.h"
#include "shell/small_windows.h"
#include "support/has.h"
#include "support/page_driver.h"

#include <QFile>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>

namespace vantry {
namespace {

const std::filesystem::path kHelp = VANTRY_HELP;

std::string TextOf(const std::filesystem::path& file) {
    QFile in(ToQt(file.string()));
    EXPECT_TRUE(in.open(QIODevice::ReadOnly)) << file;
    return in.readAll().toStdString();
}

std::set<std::string> Matches(const std::string& text, const char* pattern) {
    std::set<std::string> found;
    auto matches = QRegularExpression(pattern).globalMatch(ToQt(text));
    while (matches.hasNext()) {
        found.insert(FromQt(matches.next().captured(1)));
    }
    return found;
}

std::set<std::string> HelpFiles() {
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(kHelp)) {
        if (entry.path().extension() == ".html") {
            files.insert(entry.path().filename().string());
        }
    }
    return files;
}

TEST(Help, NoLinkLeadsNowhereAndEveryPageIsReachedFromTheStart) {
    const auto files = HelpFiles();
    std::set<std::string> reached{"index.html"};
    for (bool more = true; more;) {
        more = false;
        for (const auto& file : std::set<std::string>(reached)) {
            for (const auto& link : Matches(TextOf(kHelp / file), "(?:href|src)=\"([^\"]*)\"")) {
                const auto mark = std::min(link.find('#'), link.size());
                const auto target = mark == 0 ? file : link.substr(0, mark);
                EXPECT_TRUE(std::filesystem::is_regular_file(kHelp / target)) << file << link;
                EXPECT_TRUE(mark == link.size() ||
                            test::Has(TextOf(kHelp / target), "id=\"" + link.substr(mark + 1)))
                    << file << " " << link;
                more |= files.contains(target) && reached.insert(target).second;
            }
        }
    }
    EXPECT_EQ(reached, files);
    // The compiled help has the same pages and pictures, in its contents and its index, too.
    const std::string project = TextOf(kHelp / "vantry.hhp");
    EXPECT_EQ(Matches(project, "(?m)^([a-z-]+\\.html)$"), files);
    for (const auto& file : files) {
        for (const auto& picture : Matches(TextOf(kHelp / file), "src=\"([^\"]*)\"")) {
            EXPECT_TRUE(test::Has(project, "\n" + picture + "\n")) << picture;
        }
    }
    EXPECT_EQ(Matches(TextOf(kHelp / "vantry.hhc"), "Local\" value=\"([^\"]*)\""), files);
    for (const auto& link : Matches(TextOf(kHelp / "vantry.hhk"), "Local\" value=\"([^\"]*)\"")) {
        EXPECT_TRUE(files.contains(link)) << link;
    }
}

// The help beside the test program is a link to the help of the sources.
class HelpOfPages : public ::testing::Test {
protected:
    HelpOfPages() {
        std::error_code there;
        std::filesystem::create_directory_symlink(kHelp, ProgramFolder() + "/help", there);
        RegisterAllPages();
    }
    ~HelpOfPages() override { ClearPages(); }
    std::string Opened() {
        std::string opened;
        for (const auto& path : dialogs_.opened) {
            opened += std::filesystem::path(path).filename().string() + " ";
        }
        dialogs_.opened.clear();
        return opened;
    }
    ScriptedDialogs dialogs_;
};

TEST_F(HelpOfPages, F1OpensThePageOfTheWindowInFront) {
    const HelpKey key("runner.html");
    const std::string start = TextOf(kHelp / "index.html");
    for (const auto& name : RegisteredPages()) {
        const std::string file(HelpPageOf(name));
        ASSERT_TRUE(HelpFiles().contains(file)) << name;
        EXPECT_TRUE(test::Has(start, "\"" + file + "\""))
            << "from the start, which the help buttons open, it is one step to " << file;
        RegisterNamedPages({name.c_str()});
        ShowPage(name);
        QWidget control(FindPage(name));
        SendKey(control, Qt::Key_F1);
        EXPECT_EQ(Opened(), name == "frmSplash" ? "" : file + " ");
        // A box over it, which is no page.
        QWidget box;
        if (name != "frmSplash") {
            SendKey(box, Qt::Key_F1);
            EXPECT_EQ(Opened(), file + " ");
        }
        UnloadPage(name);
    }
    QWidget window;
    SendKey(window, Qt::Key_F1);
    EXPECT_EQ(Opened(), "runner.html ");
    EXPECT_EQ(dialogs_.TakeBoxes(), "");
}

}  // namespace
}  // namespace vantry
