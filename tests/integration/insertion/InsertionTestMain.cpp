// The insertion and indicator tests run inside a Qt application: the clipboard adapter and the
// indicator need one, and the waits of the tests keep its event loop turning so the clipboard can
// be served to others. Its widgets are on the accessibility bus, as Quillon's own windows are.
#include <QApplication>

#include <cstdlib>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    if (!std::getenv("DISPLAY")) setenv("QT_QPA_PLATFORM", "offscreen", 1);
    setenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1", 1);
    QApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
