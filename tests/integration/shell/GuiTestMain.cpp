// Runs the tests inside a QApplication on the desktop session's X server. Listing the tests (which
// the build does, outside any session) needs no display, so no application is made for it.
#include <gtest/gtest.h>

#include <QApplication>

#include <cstdlib>
#include <memory>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    std::unique_ptr<QApplication> application;
    if (!GTEST_FLAG_GET(list_tests) && std::getenv("DISPLAY") != nullptr) {
        application = std::make_unique<QApplication>(argc, argv);
    }
    return RUN_ALL_TESTS();
}
