// Runs the tests inside a QApplication on the desktop session's X server. Listing the tests, which
// the build does outside any session, needs no display.
#include <gtest/gtest.h>

#include <QApplication>

#include <cstdlib>
#include <optional>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    std::optional<QApplication> application;
    if (std::getenv("DISPLAY") != nullptr && !GTEST_FLAG_GET(list_tests)) application.emplace(argc, argv);
    return RUN_ALL_TESTS();
}
