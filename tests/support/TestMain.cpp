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
#include <string>

#include <unistd.h>

int main(int argc, char** argv) {
    bool listing = false;
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], "--gtest_list_tests") == 0) listing = true;
    ::testing::InitGoogleTest(&argc, argv);
    if (listing) return RUN_ALL_TESTS();
#ifdef QV_TEST_GUI
    if (!std::getenv("QT_QPA_PLATFORM")) setenv("QT_QPA_PLATFORM", "offscreen", 1);
#endif
    // Settings written by the program under test go to a folder of the test's own.
    const std::string config = std::string(std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") +
                               "/quorvane-test-config-" + std::to_string(getpid());
    setenv("XDG_CONFIG_HOME", config.c_str(), 1);
    TestApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
