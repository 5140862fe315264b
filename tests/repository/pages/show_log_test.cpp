// The log viewer: the log as text, logs that no text control could hold, and logs that grow.

#include "repository/pages/show_log.h"

#include "repository/pages/log_text.h"
#include "repository/pages/manager_fixture.h"

#include <QKeyEvent>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTextBlock>

#include <fstream>

namespace vantry::test {
namespace {

LogText& Text1() {
    return Control<LogText>("ShowLog", "Text1");
}
std::string Shown() {
    return FromQt(Text1().toPlainText());
}
// The uppermost line that is seen.
std::string TopLine() {
    const QTextCursor cursor = Text1().cursorForPosition(QPoint(5, 2));
    return FromQt(cursor.block().text());
}
void Key(Qt::Key key) {
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QCoreApplication::sendEvent(&Text1(), &press);
}

TEST_F(ManagerTest, TheLogOfTheSelectedSessionIsShown) {
    Save("none");
    Save("gone", In("gone.log"));
    Save("there", In("there.log"));
    folder_.Write("there.log", "Started loading at :1\r\nrows: M\xE4rz\r\nend");
    ShowPage("Form15");
    Select(2);
    Press("Form15", "VLogButt");
    EXPECT_EQ(dialogs_.TakeBoxes(), "none|Error|Invalid Log File Name or No logfile Specified.|OK");
    Select(1);
    Press("Form15", "VLogButt");
    EXPECT_EQ(dialogs_.TakeBoxes(),
              "none|Vantry|Error Loading Logfile. LogFile Does not exist or Invalid|OK");
    EXPECT_EQ(FindPage("ShowLog"), nullptr);
    Select(0);
    WhenModal([] {
        auto& page = *FindPage("ShowLog");
        EXPECT_EQ(page.windowTitle(), "Session Log for Session ID:3 Name :there");
        EXPECT_EQ(Shown(), "Started loading at :1\nrows: März\nend\n");
        EXPECT_TRUE(Text1().isReadOnly());
        page.resize(700, 500);
        QCoreApplication::processEvents();
        EXPECT_EQ(Text1().size(), QSize(700 - 170 / 15, 500 - 550 / 15));
        EXPECT_TRUE(CloseBox("ShowLog"));
    });
    Press("Form15", "VLogButt");
    EXPECT_EQ(dialogs_.TakeBoxes(), "");
}

class ShowLogTest : public ManagerTest {
protected:
    void Open(const std::string& path) {
        auto* const page = dynamic_cast<ShowLog*>(LoadPage("ShowLog"));
        ASSERT_TRUE(page != nullptr && page->Read(path));
        ShowPage("ShowLog");
        QCoreApplication::processEvents();
    }
    void Append(const std::string& text) { std::ofstream(In("a.log"), std::ios::app) << text; }
};

TEST_F(ShowLogTest, AGrowingLogIsFollowedWhereItsEndIsSeen) {
    folder_.Write("a.log", "Started at 1\r\nro");
    Open(In("a.log"));
    Append("ws\r\nmore\r\n");
    ASSERT_TRUE(Until([] { return Shown() == "Started at 1\nrows\nmore\n"; })) << Shown();
    std::string many;
    for (int i = 0; i < 2000; ++i) {
        many += "line " + std::to_string(i) + "\r\n";
    }
    Append(many);
    auto& bar = *Text1().verticalScrollBar();
    ASSERT_TRUE(Until([&] { return bar.maximum() > 1000 && bar.value() == bar.maximum(); }));
    Key(Qt::Key_Home);
    EXPECT_EQ(TopLine(), "Started at 1");
    Append("one more\r\n");
    ASSERT_TRUE(Until([] { return Shown().ends_with("one more\n"); }));
    EXPECT_EQ(TopLine(), "Started at 1") << "who reads above is left there";
    // The next run begins.
    folder_.Write("a.log", "Started at 2\r\n");
    EXPECT_TRUE(Until([] { return Shown() == "Started at 2\n"; }));
}

// 500 MB without a byte of it on the disk but for some lines: what is read is what is held.
TEST_F(ShowLogTest, ALogOf500MegabytesIsHeldInPieces) {
    constexpr std::uint64_t kSize = 500'000'000;
    folder_.Write("a.log", "Started at 1\r\n");
    std::filesystem::resize_file(folder_ / "a.log", kSize);
    {
        std::fstream file(In("a.log"), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(kSize / 2));
        for (int i = 0; i < 50'000; ++i) {
            file << "middle " << i << "\n";
        }
    }
    Append("\nthe last\n");
    Open(In("a.log"));
    EXPECT_EQ(TopLine(), "Started at 1");
    EXPECT_LE(Text1().HeldBytes(), 1'000'000U);
    Key(Qt::Key_End);
    EXPECT_TRUE(Shown().ends_with("the last\n"));
    Text1().ShowAt(kSize / 2 + 300'000);
    const std::string top = TopLine();
    ASSERT_TRUE(top.starts_with("middle ")) << top;
    // A line at a time, through the ends of several pieces, and back.
    int number = std::stoi(top.substr(7));
    for (const auto& [key, step] : {std::pair(Qt::Key_Down, 1), std::pair(Qt::Key_Up, -1)}) {
        for (int i = 0; i < 12'000; ++i) {
            Key(key);
            number += step;
            if (i % 500 == 0) {
                ASSERT_EQ(TopLine(), "middle " + std::to_string(number)) << i;
            }
        }
        ASSERT_EQ(TopLine(), "middle " + std::to_string(number));
    }
    EXPECT_LE(Text1().HeldBytes(), 1'000'000U);
    Control<QScrollBar>("ShowLog", "FileBar").setValue(0);
    EXPECT_EQ(TopLine(), "Started at 1");
}

}  // namespace
}  // namespace vantry::test
