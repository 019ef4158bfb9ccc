#include "host/driver/driver_library.h"

#include <gtest/gtest.h>

#include <QCoreApplication>

#include "host/error.h"

using namespace dx7;

namespace {

// The error text of an attempt to load; empty when it succeeded.
std::string loadFault(const char* path) {
    try {
        const DriverLibrary library(QString::fromLocal8Bit(path));
        return std::string();
    } catch (const UsageError& error) {
        return error.what();
    }
}

TEST(DriverLibrary, LoadsTheDriverAndResolvesEverything) {
    EXPECT_EQ(loadFault(DX7_TEST_DRIVER), "");
}

TEST(DriverLibrary, NamesAFileThatIsNotThere) {
    const std::string fault = loadFault("/nonexistent/libkorvalent_dx7.so");
    EXPECT_NE(fault.find("/nonexistent/libkorvalent_dx7.so"), std::string::npos) << fault;
}

TEST(DriverLibrary, NamesTheFunctionThatALibraryLacks) {
    const std::string fault = loadFault("libz.so.1");
    if (fault.find("could not be loaded") != std::string::npos) {
        GTEST_SKIP() << "no other library at hand";
    }
    EXPECT_NE(fault.find("lacks the function intf_getProtocolType"), std::string::npos) << fault;
}

TEST(DriverLibrary, AGivenPathIsTheOnlyOne) {
    EXPECT_EQ(DriverLibrary::candidates(QStringLiteral("/some/where.so")),
              QStringList{QStringLiteral("/some/where.so")});
}

// The search begins beside the program, which is known once there is an application.
TEST(DriverLibrary, TheEnvironmentComesBeforeTheSearch) {
    int argc = 1;
    char name[] = "host_tests";
    char* argv[] = {name, nullptr};
    const QCoreApplication application(argc, argv);
    qputenv("DX7_DRIVER", "/from/environment.so");
    const QStringList paths = DriverLibrary::candidates(QString());
    qunsetenv("DX7_DRIVER");
    EXPECT_EQ(paths, QStringList{QStringLiteral("/from/environment.so")});
    EXPECT_EQ(DriverLibrary::candidates(QString()).last(), QStringLiteral("libkorvalent_dx7.so"));
    EXPECT_GE(DriverLibrary::candidates(QString()).size(), 4);
}

}  // namespace
