// The wizard itself, walked through from the splash window to the finish by mouse and keyboard:
// text files into a new Access database, and from there to delimited text, to fixed text and into
// another Access database. Everything lies in the folder of the executable, which the script makes
// anew and whose results it reads back. Usage: wizard_road (in a folder with data/customers.csv,
// data/notes.csv and data/orders.csv)

#include "core/folders.h"
#include "core/session_state.h"
#include "programs/all_pages.h"
#include "shell/product_picture.h"
#include "shell/qt_text.h"
#include "support/page_driver.h"
#include "wizard/road_driver.h"

#include <QApplication>
#include <QPlainTextEdit>
#include <QStyleFactory>

#include <clocale>

namespace vantry {
namespace {

class Road {
public:
    explicit Road(const std::string& folder) : folder_(folder), driver_(folder + "/pictures") {}

    void Walk() {
        StartAndMakeRepository();
        TextToAccess();
        AccessToText("FileFormatOpt_0", "delimited", "csv");
        AccessToText("FileFormatOpt_1", "fixed", "txt");
        AccessToAccess();
        driver_.Start();
    }

private:
    std::string In(const std::string& name) const { return folder_ + "/" + name; }

    void StartAndMakeRepository() {
        driver_.Click("frmSplash", "Image1");
        driver_.Page("NavForm");
        driver_.Keys("alt+r");
        driver_.Keys("n");
        driver_.Box("New Repository Created", "Return");
    }

    void ChooseKinds(const char* source, const char* target) {
        driver_.Page("NavForm");
        driver_.Click("NavForm", "NavChoice_0");
        driver_.Keys("alt+n");
        driver_.Page("Form1");
        driver_.Click("Form1", source);
        driver_.Click("Form1", target);
        driver_.Click("Form1", "NXT");
    }

    void NewAccessTarget(const std::string& file) {
        driver_.Page("Form8");
        driver_.Click("Form8", "NewMdbButton");
        driver_.Choose(file);
        driver_.Until("the target is connected",
                      [] { return LabelText("Form8", "ACCStatus") == "Connected Succesfully"; });
        driver_.Page("Form8");
        driver_.Click("Form8", "NXT");
    }

    void AccessSource() {
        driver_.Page("Form2");
        driver_.Type("Form2", "Mdbfilename", In("shop.mdb"));
        driver_.Keys("alt+l");
        driver_.ClickEntry("Form2", "mdbtables", "customers");
        driver_.Keys("ctrl+a");
        driver_.Page("Form2");
        driver_.Click("Form2", "NXT");
    }

    void RunToTheEnd(const std::string& banner) {
        driver_.Page("Form14");
        driver_.Click("Form14", "StartButton");
        driver_.Until("the log's last banner", [banner] {
            return FindPage("Form14") != nullptr &&
                   FromQt(Control<QPlainTextEdit>("Form14", "LogTxt").toPlainText())
                       .ends_with(banner);
        });
        driver_.Page("Form14");
        driver_.Click("Form14", "FINISHBUTT");
        driver_.Page("NavForm");
    }

    void SaveNot() {
        driver_.Page("Form13");
        driver_.Click("Form13", "FreqOpt_1");
        driver_.Click("Form13", "NXTBUTT");
    }

    // One column gets another name and size, one table a condition and the option to be dropped;
    // the session is saved and run at once.
    void TextToAccess() {
        ChooseKinds("SOpt_6", "DOpt_1");
        driver_.Page("Form11");
        driver_.Click("Form11", "Command1");
        driver_.Choose(In("data"));
        driver_.TickEntry("Form11", "FilesList", "customers.csv");
        driver_.TickEntry("Form11", "FilesList", "notes.csv");
        driver_.TickEntry("Form11", "FilesList", "orders.csv");
        driver_.ClickEntry("Form11", "FilesList", "customers.csv");
        driver_.Page("Form11");
        driver_.Click("Form11", "NXTBUTT");
        NewAccessTarget(In("shop.mdb"));

        driver_.Page("Form4");
        driver_.ClickCell("Form4", "FlexGrid1", 0, 1);
        driver_.Page("Form5");
        driver_.ClickCell("Form5", "ColGrid1", 1, 5);
        driver_.Keys("ctrl+a");
        driver_.TypeText("full name");
        driver_.ClickCell("Form5", "ColGrid1", 1, 7);
        driver_.Keys("ctrl+a");
        driver_.TypeText("80");
        driver_.Keys("Return");
        driver_.Click("Form5", "SQLCondTxt");
        driver_.TypeText("id > 1");
        driver_.Page("Form5");
        driver_.Click("Form5", "closebutt");
        driver_.Page("Form4");
        driver_.ClickCell("Form4", "FlexGrid1", 2, 1);
        driver_.Page("Form5");
        driver_.Click("Form5", "TabDropOpt_0");
        driver_.Keys("alt+c");
        driver_.Page("Form4");
        driver_.Click("Form4", "NXTBUTT");

        driver_.Page("Form13");
        driver_.Click("Form13", "FreqOpt_0");
        driver_.Click("Form13", "NXTBUTT");
        driver_.Box("Session Saved Successfully", "Return");
        RunToTheEnd("\n*******( F.I.N.I.S.H )*********");
    }

    void AccessToText(const char* format, const std::string& folder, const std::string& extension) {
        ChooseKinds("SOpt_1", "DOpt_6");
        AccessSource();
        driver_.Page("Form12c");
        driver_.Type("Form12c", "FName", In(folder));
        driver_.Click("Form12c", format);
        driver_.Click("Form12c", "DefExt");
        driver_.Keys("Escape");
        driver_.Keys("ctrl+a");
        driver_.TypeText(extension);
        driver_.Click("Form12c", "ColNames");
        driver_.Page("Form12c");
        driver_.Click("Form12c", "NXTBUTT");
        driver_.Page("Form4");
        driver_.Keys("alt+n");
        SaveNot();
        RunToTheEnd("\n******( FINISH )*******");
    }

    void AccessToAccess() {
        ChooseKinds("SOpt_1", "DOpt_1");
        AccessSource();
        NewAccessTarget(In("copy.mdb"));
        driver_.Page("Form4");
        driver_.Keys("alt+n");
        SaveNot();
        RunToTheEnd("\n*******( F.I.N.I.S.H )*********");
    }

    std::string folder_;
    RoadDriver driver_;
};

}  // namespace
}  // namespace vantry

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QCoreApplication::setApplicationVersion("2.0");
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setWindowIcon(vantry::ProductIcon());
    std::setlocale(LC_NUMERIC, "C");
    const std::string folder = vantry::ApplicationFolder();
    vantry::StartWizard(folder);
    vantry::Road road(folder);
    road.Walk();
    return QApplication::exec();
}
