// The indicator's tests run inside a Qt Widgets application on the desktop session's X server.
#include <QApplication>

#include <cstdlib>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    if (!std::getenv("DISPLAY")) setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
