// The integration tests run inside a Qt application: the clipboard adapter needs one, and the
// waits of the tests keep its event loop turning so the clipboard can be served to others.
#include <QGuiApplication>

#include <cstdlib>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    if (!std::getenv("DISPLAY")) setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QGuiApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
