// The main of every test program. Listing the tests (as CTest's discovery does) must work
// without a display, so the Qt application object is made only when tests actually run.

#include <gtest/gtest.h>

#ifdef QV_TEST_GUI
#include <QApplication>
using TestApplication = QApplication;
#else
#include <QCoreApplication>
using TestApplication = QCoreApplication;
#endif

#include <cstdlib>
#include <cstring>
#include <memory>

int main(int argc, char** argv) {
    bool listing = false;
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], "--gtest_list_tests") == 0) listing = true;
    ::testing::InitGoogleTest(&argc, argv);
    if (listing) return RUN_ALL_TESTS();
#ifdef QV_TEST_GUI
    if (!std::getenv("QT_QPA_PLATFORM")) setenv("QT_QPA_PLATFORM", "offscreen", 1);
#endif
    TestApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
