#include "shell/plate_button.h"

#include <QObject>

#include <gtest/gtest.h>

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
