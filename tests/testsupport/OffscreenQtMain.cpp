// The main of test programs that make widgets: an application on the offscreen platform.
#include <gtest/gtest.h>

#include <QApplication>

int main(int argc, char* argv[]) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
