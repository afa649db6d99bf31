// Runs widget tests inside a QApplication on Qt's offscreen platform: they need fonts and a
// palette, not a display.
#include <gtest/gtest.h>

#include <QApplication>

#include <cstdlib>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
