// main() of test binaries with pages: a QApplication on a platform without a screen.

#include <QApplication>
#include <QStyleFactory>

#include <gtest/gtest.h>

#include <clocale>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QApplication::setQuitOnLastWindowClosed(false);
    QCoreApplication::setApplicationVersion("2.0");
    std::setlocale(LC_NUMERIC, "C");
    return RUN_ALL_TESTS();
}
