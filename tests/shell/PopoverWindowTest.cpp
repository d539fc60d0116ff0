#include "shell/PopoverWindow.h"

#include <gtest/gtest.h>

#include <array>

namespace moritane {
namespace {

TEST(PopoverWindowTest, ThePopoverHangsUnderItsIconAndStaysOnTheScreen) {
    const QRect screen(0, 0, 1024, 640);
    const QSize popover(260, 400);
    struct Case {
        const char* where = "";
        QRect icon;
        QPoint expected;
    };
    const std::array cases{
        Case{"top panel, middle", {500, 0, 22, 26}, {381, 30}},
        Case{"top panel, right corner", {1001, 0, 22, 26}, {764, 30}},
        Case{"top panel, left corner", {0, 0, 22, 26}, {0, 30}},
        Case{"bottom panel: above the icon", {500, 620, 22, 20}, {381, 216}},
        Case{"pointer in mid-screen", {900, 300, 1, 1}, {764, 240}},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(PopoverWindow::placement(popover, test.icon, screen), test.expected) << test.where;
    }
    EXPECT_EQ(PopoverWindow::placement({260, 900}, {500, 0, 22, 26}, screen), QPoint(381, 0))
        << "taller than the screen";
}

}  // namespace
}  // namespace moritane
