// The wizard.

#include "core/folders.h"
#include "core/settings.h"
#include "data/message_text.h"
#include "programs/all_pages.h"
#include "programs/failed_writes.h"
#include "programs/no_core_file.h"
#include "shell/page_look.h"
#include "shell/product_picture.h"
#include "shell/status_line.h"
#include "shell/window_memory.h"

#include <QApplication>

#include <clocale>
#include <cstdio>

int main(int argc, char** argv) {
    vantry::RefuseCoreFile();
    vantry::MakeFailedWritesErrors();
    QApplication application(argc, argv);
    QCoreApplication::setApplicationName("Vantry");
    QCoreApplication::setApplicationVersion(VANTRY_VERSION);
    // Numbers in SQL texts have a point wherever the desktop is; what the user reads goes by the
    // module of text forms.
    std::setlocale(LC_NUMERIC, "C");
    QApplication::setWindowIcon(vantry::ProductIcon());
    vantry::MakeSelectionsReadable();
    // The set of pages knows when the last one went.
    QApplication::setQuitOnLastWindowClosed(false);
    vantry::UseWindowMemory(vantry::ApplicationFolder() + "/Window.ini");
    vantry::StartWizard(vantry::ApplicationFolder());
    const auto faults = vantry::TakeSettingsFaults();
    for (const auto& fault : faults) {
        std::fprintf(stderr, "Vantry: %s\n", vantry::WithoutControls(fault).c_str());
    }
    // Whoever starts the wizard from a menu sees no standard error.
    vantry::TellAtStart(faults);
    return QApplication::exec();
}
