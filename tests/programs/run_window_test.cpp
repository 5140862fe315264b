#include "programs/run_window.h"

#include "programs/application.h"
#include "support/child_process.h"

#include <QAccessible>
#include <QApplication>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace vantry::test {
namespace {

// Looked at from inside, where the run asks for signals: the window is the real one.
TEST(RunWindow, ShowsTheStartsOfItsLinesAndTellsItsControls) {
    const Application app;
    app.SaveOrders("shown", 50);
    std::filesystem::remove(app.Folder() / "in/orders.csv");
    const auto child = RunChild([&](const Report& holds) {
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
        int argc = 1;
        std::string name = "VYRun";
        char* argv[] = {name.data(), nullptr};
        RunnerSurroundings surroundings;
        surroundings.application_folder = app.Folder().Path().string();
        surroundings.cancel_requested = [&] {
            const auto* const window = QApplication::activeWindow();
            const auto* const close =
                window == nullptr ? nullptr : window->findChild<QPushButton*>("Close");
            if (close == nullptr || !close->isEnabled()) {
                return false;
            }
            const auto* const across =
                window->findChild<QPlainTextEdit*>("LogTxt")->horizontalScrollBar();
            const auto check = [&](bool right, const char* what) {
                right ? holds() : static_cast<void>(std::fprintf(stderr, "not so: %s\n", what));
            };
            check(across->maximum() > 0 && across->value() == 0, "lines show their starts");
            check(!window->windowIcon().isNull(), "the icon");
            check(close->isDefault() && close->hasFocus(), "Enter closes");
            for (auto* const control : window->findChildren<QWidget*>()) {
                if (control->focusPolicy() != Qt::NoFocus && control->isVisible()) {
                    auto* const told = QAccessible::queryAccessibleInterface(control);
                    check(!told->text(QAccessible::Name).isEmpty(), "a name");
                }
            }
            return true;
        };
        DisplayTrial trial(argc, argv);
        ShowRunInWindow(argc, argv, 1, surroundings, trial);
    });
    EXPECT_TRUE(child.whole);
    EXPECT_EQ(child.steps, 7u) << "log, bar, links, Cancel, Close";
}

}  // namespace
}  // namespace vantry::test
