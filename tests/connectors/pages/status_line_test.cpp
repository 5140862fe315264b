// What the frame says beside the pages: source and target as they will be used, fields that say
// otherwise, targets that can't be written, and the way on where no page follows.

#include "shell/status_line.h"

#include "connectors/pages/connector_pages_fixture.h"
#include "core/route.h"
#include "shell/window_memory.h"

#include <QDir>
#include <QDropEvent>
#include <QMenu>
#include <QMimeData>
#include <QUrl>

#include <unistd.h>

#include <filesystem>

namespace vantry::test {
namespace {

class StatusLineTest : public ConnectorPagesTest {
protected:
    StatusLineTest() { SourceConnStr = TargetConnStr = "Data Source=/of/an/earlier/session.mdb"; }

    static void Load(const char* page, const std::string& file) {
        Type(page, "Mdbfilename", file);
        Press(page, "LOADBUTT");
    }
    // As the user sees it, or would in a wider window.
    static std::string Label(const char* name) {
        QCoreApplication::processEvents();
        return ShownByTip(TheMainWindow().findChild<QLabel*>(name)->toolTip());
    }
    static std::string Route() { return Label("StatusRoute"); }
    static std::string Said() { return Label("StatusNotice"); }
    static QLabel& Note() { return *TheMainWindow().findChild<QLabel*>("OpenPagesNote"); }
};

TEST_F(StatusLineTest, ShowsSourceAndTargetAsTheyWillBeUsed) {
    const std::string orders = MakeDatabase("orders.mdb", {"a", "b", "c", "d"});
    const std::string shop = MakeDatabase("shop.mdb");
    ShowPage("NavForm");
    EXPECT_EQ(Route(), "");
    ShowPage("Form2");
    EXPECT_EQ(Route(), "MS Access \u2192 MS Access") << "earlier sessions don't count";
    Load("Form2", orders);
    Control<QListWidget>("Form2", "mdbtables").selectAll();
    EXPECT_EQ(Route(), "orders.mdb, 4 tables \u2192 MS Access");
    Load("Form2", folder_.Path().string() + "/none.mdb");
    EXPECT_EQ(Route(), "MS Access \u2192 MS Access") << "a failed try leaves nothing";
    Load("Form2", orders);
    Control<QListWidget>("Form2", "mdbtables").setCurrentRow(2);
    Press("Form2", "NXT");
    EXPECT_EQ(Route(), "orders.mdb, 1 table \u2192 MS Access");
    Load("Form8", shop);
    EXPECT_EQ(Route(), "orders.mdb, 1 table \u2192 shop.mdb");
    Press("Form8", "NXT");
    EXPECT_EQ(Route(), "orders.mdb, 1 table \u2192 shop.mdb");
}

TEST_F(StatusLineTest, WarnsWhileAFieldDiffersFromWhatIsConnected) {
    const std::string shop = MakeDatabase("shop.mdb");
    for (const char* page : {"Form2", "Form8"}) {
        ShowPage(page);
        Type(page, "Mdbfilename", "elsewhere.mdb");
        EXPECT_EQ(Said(), "") << "nothing is connected yet";
        Load(page, shop);
        EXPECT_EQ(Said(), "");
        Type(page, "Mdbfilename", folder_.Path().string() + "/other <b>.mdb");
        EXPECT_EQ(Said(), "shop.mdb is connected; other <b>.mdb has not been loaded.");
        const auto& notice = *TheMainWindow().findChild<QLabel*>("StatusNotice");
        EXPECT_EQ(notice.palette().color(QPalette::WindowText), WarningColor(notice.palette()));
        EXPECT_NE(notice.text().indexOf("&lt;b&gt;"), -1) << "names aren't markup";
        Type(page, "Mdbfilename", shop);
        EXPECT_EQ(Said(), "");
        Type(page, "MdbPwd", "secret");
        EXPECT_EQ(Said(), "shop.mdb is connected; what was changed since has not been loaded.");
        ShowPage("NavForm");
        EXPECT_EQ(Said(), "") << "another page's matter";
        UnloadAllPages();
        dialogs_.boxes.clear();
    }
}

TEST_F(StatusLineTest, SaysThatATargetCannotBeWritten) {
    const std::string shop = MakeDatabase("shop.mdb");
    std::filesystem::permissions(folder_.Path(), std::filesystem::perms{0755});
    std::filesystem::permissions(shop, std::filesystem::perms{0444});
    ShowPage("Form8");
    // Root may write everything.
    constexpr uid_t kSomebody = 12345;
    const bool root = ::geteuid() == 0;
    ASSERT_TRUE(!root || ::seteuid(kSomebody) == 0);
    Load("Form8", shop);
    ASSERT_TRUE(!root || ::seteuid(0) == 0);
    EXPECT_EQ(LabelText("Form8", "ACCStatus"), "Connected Succesfully");
    EXPECT_EQ(Said().find("shop.mdb may not be written"), 0U) << Said();
    UnloadPage("Form8");
    ShowPage("Form2");
    Load("Form2", shop);
    EXPECT_EQ(Said(), "") << "a source is only read";
}

TEST_F(StatusLineTest, FieldsForFilesTakeAddressesHomesAndDroppedFiles) {
    UseWindowMemory(folder_.Path().string() + "/window.ini");
    ShowPage("Form2");
    auto& field = Control<QLineEdit>("Form2", "Mdbfilename");
    const std::pair<std::string, std::string> cases[] = {
        {"file:///data/a%20b.mdb", "/data/a b.mdb"},
        {"~/shop.mdb", FromQt(QDir::homePath()) + "/shop.mdb"},
        {"~shop.mdb", "~shop.mdb"},
        {"file:/", "file:/"},
    };
    for (const auto& [typed, taken] : cases) {
        field.setText(ToQt(typed));
        EXPECT_EQ(FromQt(field.text()), taken);
    }
    QMimeData files;
    files.setUrls({QUrl::fromLocalFile("/data/dropped 1.mdb"), QUrl::fromLocalFile("/data/2.mdb")});
    QDragEnterEvent enter(QPoint(1, 1), Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&field, &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(1, 1), Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&field, &drop);
    QCoreApplication::processEvents();
    EXPECT_EQ(FromQt(field.text()), "/data/dropped 1.mdb");
    EXPECT_NE(dialogs_.TakeBoxes().find("dropped 1.mdb"), std::string::npos) << "it is loaded";
    EXPECT_EQ(Said(), "");
    for (const auto* const path : {"/data/a;b.mdb", "/data/a\"b.mdb"}) {
        Type("Form2", "Mdbfilename", path);
        EXPECT_NE(Said().find(std::string("can't be part of a path here: ") + path),
                  std::string::npos)
            << Said();
    }
    Load("Form2", MakeDatabase("shop.mdb"));
    Load("Form2", MakeDatabase("orders.mdb"));
    // The target's field offers what the source's took.
    ShowPage("Form8");
    auto& other = Control<QLineEdit>("Form8", "Mdbfilename");
    SendKey(other, Qt::Key_Down, {}, Qt::AltModifier);
    const auto* const menu = other.findChild<QMenu*>();
    ASSERT_NE(menu, nullptr);
    ASSERT_EQ(menu->actions().size(), 2);
    menu->actions().last()->trigger();
    QCoreApplication::processEvents();
    EXPECT_EQ(FromQt(other.text()), folder_.Path().string() + "/shop.mdb");
    EXPECT_EQ(LabelText("Form8", "ACCStatus"), "Connected Succesfully");
    UseWindowMemory("");
}

TEST_F(StatusLineTest, EscapeAsksAsCancelDoes) {
    ShowPage("Form2");
    SendKey(Control<QLineEdit>("Form2", "Mdbfilename"), Qt::Key_Escape);
    EXPECT_EQ(dialogs_.TakeBoxes(),
              "none|Confirm Cancel|Are you sure to cancel this Session?|Yes/No");
}

TEST_F(StatusLineTest, OffersTheLastPageWhereNoneFollows) {
    ShowPage("NavForm");
    HidePage("NavForm");
    ShowPage("Form1");
    HidePage("Form1");
    ShowPage("Form2");
    QCoreApplication::processEvents();
    EXPECT_TRUE(Note().isHidden());
    HidePage("Form2");
    ShowPage("Form12c");
    FindPage("Form12c")->setWindowTitle("Text <Destination>");
    HidePage("Form12c");
    QCoreApplication::processEvents();
    ASSERT_FALSE(Note().isHidden());
    EXPECT_NE(Note().text().indexOf("Text &lt;Destination&gt;"), -1);
    EXPECT_NE(Note().text().indexOf(FindPage("Form1")->windowTitle()), -1);
    Q_EMIT Note().linkActivated("last");
    QCoreApplication::processEvents();
    EXPECT_EQ(VisiblePages(), "Form12c");
    EXPECT_TRUE(Note().isHidden());
    CancelSession();
    HidePage("NavForm");
    QCoreApplication::processEvents();
    EXPECT_TRUE(Note().isHidden()) << "no session is open";
}

TEST(Route, NamesEachKindOfConnectionWithoutItsPasswords) {
    const std::pair<const char*, const char*> cases[] = {
        {"PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=/a/b.mdb;Jet OLEDB:Database Password=x",
         "b.mdb"},
        {"Driver=Microsoft Access Driver (*.mdb, *.accdb);DBQ=/a/b.accdb;UID=u;PWD=p", "b.accdb"},
        {"DSN=Sales;UID=u;pwd=p", "the data source Sales"},
        {"DRIVER={MySQL};SERVER=db1;UID=u;PWD=p;DATABASE=shop", "shop on db1"},
        {"Provider=SQLOLEDB;Data Source=srv;Initial Catalog=shop;User ID=u", "shop on srv"},
        {"Provider=MSDAORA;Data Source=ORCL;User ID=scott;Password=tiger", "ORCL"},
        {"Driver={Microsoft Visual FoxPro Driver};SourceType=DBF;SourceDB=/data/old",
         "the folder old"},
        {"Provider=Microsoft.Jet.OLEDB.4.0;Data Source=/data/csv/;Extended "
         "Properties=\"text;FMT=Delimited\";\"",
         "the folder csv"},
        {"", ""},
    };
    for (const auto& [connection, words] : cases) {
        EXPECT_EQ(PlaceInWords(connection), words) << connection;
    }
}

}  // namespace
}  // namespace vantry::test
