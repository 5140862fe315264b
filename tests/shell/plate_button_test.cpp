#include "shell/plate_button.h"

#include <QColor>
#include <QObject>
#include <QVariant>
#include <QWidget>

#include <gtest/gtest.h>

#include <utility>

namespace vantry {
namespace {

TEST(PlateButton, ReadsItsCaptionWithoutTheMnemonicAndKeepsIt) {
    PlateButton button;
    button.setText("< &Back");
    EXPECT_EQ(button.Caption(), "< Back");
    button.SetCaption("< Back");
    EXPECT_EQ(button.text(), "< &Back");
    button.SetCaption("Stop && &Go");
    EXPECT_EQ(button.Caption(), "Stop & Go");
    EXPECT_FALSE(button.shortcut().isEmpty());
}

TEST(PlateButton, IsSetByItsProperties) {
    QWidget page;
    PlateButton button(&page);
    const std::pair<const char*, QVariant> properties[] = {
        {"BackColor", QColor(1, 2, 3)},
        {"ForeColor", QColor(4, 5, 6)},
        {"Caption", "Go"},
        {"Enabled", false},
        {"MousePointer", static_cast<int>(Qt::PointingHandCursor)},
        {"ToolTipText", "what it does"},
    };
    for (const auto& [name, value] : properties) {
        EXPECT_TRUE(button.setProperty(name, value)) << name;
        EXPECT_EQ(button.property(name), value) << name;
    }
    EXPECT_FALSE(button.isEnabled());
    button.SetMousePointer(-1);
    EXPECT_EQ(button.MousePointer(), -1);
}

TEST(PlateButton, ClicksUnlessDisabled) {
    PlateButton button;
    int clicks = 0;
    QObject::connect(&button, &PlateButton::Click, [&] { ++clicks; });
    button.click();
    button.setEnabled(false);
    button.click();
    EXPECT_EQ(clicks, 1);
}

}  // namespace
}  // namespace vantry
