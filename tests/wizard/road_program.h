#pragma once
// The main of a program that walks through the wizard in a real window: the wizard as users start
// it, in the folder of the executable, and a road through it.

#include "core/folders.h"
#include "programs/all_pages.h"
#include "shell/product_picture.h"
#include "wizard/road_driver.h"

#include <QApplication>
#include <QStyleFactory>

#include <clocale>
#include <string>

namespace vantry {

inline void StartAndMakeRepository(RoadDriver& driver) {
    driver.Click("frmSplash", "Image1");
    driver.Page("NavForm");
    driver.Keys("alt+r");
    driver.Keys("n");
    driver.Box("New Repository Created", "Return");
}

// Made before the wizard is, so that what the road registers is listed by its pages.
template <typename Road>
int WalkIn(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QCoreApplication::setApplicationVersion("2.0");
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setWindowIcon(ProductIcon());
    std::setlocale(LC_NUMERIC, "C");
    const std::string folder = ApplicationFolder();
    Road road(folder);
    StartWizard(folder);
    road.Walk();
    return QApplication::exec();
}

}  // namespace vantry
