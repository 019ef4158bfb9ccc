// The shared library from outside: what its file exports and needs, loading and unloading, several copies of
// it in one process, and every function called through its name.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMutex>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>
#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "library_file.h"
#include "loaded_library.h"
#include "tests/kit/crc.h"

#if defined(__SANITIZE_ADDRESS__)
// Loading two copies of one library is the very subject here, not a mistake of the linker.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "detect_odr_violation=0";
}
#endif

namespace {

const char* const LIBRARY = DX7_LIBRARY;

// Sanitizer runtimes add their own bookkeeping symbols and libraries; every other build shows the true
// surface.
bool isSanitizerName(const std::string& name) {
#if defined(__SANITIZE_ADDRESS__)
    return name.compare(0, 7, "__odr_a") == 0 || name.compare(0, 7, "libasan") == 0 ||
           name.compare(0, 8, "libubsan") == 0;
#else
    (void)name;
    return false;
#endif
}

std::vector<std::string> withoutSanitizer(std::vector<std::string> names) {
    names.erase(std::remove_if(names.begin(), names.end(), isSanitizerName), names.end());
    return names;
}

const std::vector<std::string>& exportedFunctions() {
    static const std::vector<std::string> names = {"intf_SetDriverPropertyPage",
                                                   "intf_addConditionRead",
                                                   "intf_addrMerge",
                                                   "intf_checkAddr",
                                                   "intf_checkAddrValidity",
                                                   "intf_dealRcvFrame",
                                                   "intf_getData",
                                                   "intf_getDriverParameter",
                                                   "intf_getDriverPropertyPage",
                                                   "intf_getProtocolType",
                                                   "intf_getRegDiscription",
                                                   "intf_getRegListByType",
                                                   "intf_getSendFrame",
                                                   "intf_initProperty",
                                                   "intf_multiCopy",
                                                   "intf_setAddrValueChangeCallBack",
                                                   "intf_setData",
                                                   "intf_setRcpAddress"};
    return names;
}

TEST(LibraryFile, ExportsThe18FunctionsAndTheDriverObjectAndNothingElse) {
    const LibraryFile file = readLibraryFile(LIBRARY);
    ASSERT_EQ("", file.problem);
    ASSERT_EQ(18u, exportedFunctions().size());
    std::vector<std::string> expected = exportedFunctions();
    EXPECT_EQ(expected, withoutSanitizer(file.functions));
    expected.push_back("driver");
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(expected, withoutSanitizer(file.exports));
}

TEST(LibraryFile, HasNoSymbolThatBindsProcessWide) {
    const LibraryFile file = readLibraryFile(LIBRARY);
    ASSERT_EQ("", file.problem);
    EXPECT_EQ(std::vector<std::string>(), file.uniqueSymbols);
}

TEST(LibraryFile, NeedsQtCoreAndTheLanguageRuntimeOnly) {
    const LibraryFile file = readLibraryFile(LIBRARY);
    ASSERT_EQ("", file.problem);
    bool needsQtCore = false;
    for (const std::string& name : withoutSanitizer(file.needed)) {
        const bool isQtCore = name.compare(0, 9, "libQt5Cor") == 0 || name.compare(0, 9, "libQtCore") == 0;
        needsQtCore = needsQtCore || isQtCore;
        bool allowed = isQtCore;
        for (const char* runtime : {"libstdc++.so.", "libc.so.", "libm.so.", "libgcc_s.so.", "ld-linux"})
            allowed = allowed || name.compare(0, std::string(runtime).size(), runtime) == 0;
        EXPECT_TRUE(allowed) << "the library needs " << name;
    }
    EXPECT_TRUE(needsQtCore);
}

TEST(LibraryFile, ThatDoesNotExistIsReportedByTheReader) {
    EXPECT_NE("", readLibraryFile("/nonexistent/library.so").problem);
}

struct Change {
    int linkId, station;
    QString regType;
    int address;
};

std::vector<Change> changesOfFirst;
std::vector<Change> changesOfSecond;

void recordFirst(int linkId, int station, QString& regType, int address) {
    changesOfFirst.push_back({linkId, station, regType, address});
}

void recordSecond(int linkId, int station, QString& regType, int address) {
    changesOfSecond.push_back({linkId, station, regType, address});
}

// Host memory for one loaded library.
struct HostMemory {
    std::vector<unsigned char> flags = std::vector<unsigned char>(RECIPE_READ_REQUEST + 1, 0);
    std::vector<unsigned char> recipes = std::vector<unsigned char>(256, 0);
    QMutex mutex;

    int start(LoadedLibrary& library, const char* properties) {
        int out = -1;
        const int result = library.initProperty(flags.data(), 0, recipes.data(), &out, properties, &mutex);
        EXPECT_EQ(0, out);
        return result;
    }
};

KEY_ADDRESS item(int station, const char* regType, int address, int length) {
    KEY_ADDRESS key;
    key.station = station;
    key.regType = QString::fromLatin1(regType);
    key.address = address;
    key.length = length;
    return key;
}

class Surface : public testing::Test {
protected:
    void SetUp() override {
        changesOfFirst.clear();
        changesOfSecond.clear();
    }

    void TearDown() override {
        if (!folder_.empty())
            std::filesystem::remove_all(folder_);
    }

    // A copy of the library under another name, in a folder that goes with the test.
    std::string copyNamed(const char* name) {
        std::string pattern = std::filesystem::temp_directory_path() / "dx7-surface-XXXXXX";
        if (folder_.empty() && mkdtemp(&pattern[0]) != nullptr)
            folder_ = pattern;
        std::error_code failed;
        std::filesystem::copy_file(LIBRARY, folder_ / name, failed);
        EXPECT_FALSE(failed) << folder_ << ": " << failed.message();
        return folder_ / name;
    }

private:
    std::filesystem::path folder_;
};

TEST_F(Surface, EveryExportedNameResolves) {
    void* handle = dlopen(LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, handle) << dlerror();
    for (const std::string& name : exportedFunctions())
        EXPECT_NE(nullptr, dlsym(handle, name.c_str())) << name;
    EXPECT_NE(nullptr, dlsym(handle, "driver"));
    EXPECT_EQ(nullptr, dlsym(handle, "REG_LIST"));
    EXPECT_EQ(nullptr, dlsym(handle, "getReadFrame"));
    dlclose(handle);
}

TEST_F(Surface, DescribingFunctionsAnswerThroughTheirNamesBeforeAnythingElse) {
    LoadedLibrary library(LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_EQ("", library.problem());
    int protocol = -1;
    library.getProtocolType(&protocol);
    EXPECT_EQ(0, protocol);
    QString text;
    library.getDriverParameter(text);
    EXPECT_EQ(25, text.split(QLatin1Char(',')).size());
    library.getDriverPropertyPage(text);
    EXPECT_EQ(QLatin1String("0_0"), text);
    library.setDriverPropertyPage(text);
    EXPECT_EQ(QString(), text);
    QList<QString> names;
    EXPECT_EQ(DX7_TYPE_KNOWN, library.getRegListByType(0, names));
    EXPECT_EQ(6, names.size());
    EXPECT_EQ(DX7_TYPE_KNOWN, library.getRegDiscription(QLatin1String("DO"), names));
    EXPECT_EQ(11, names.size());
    int address = -1;
    EXPECT_EQ(DX7_ADDRESS_VALID,
              library.checkAddrValidity(QLatin1String("DO"), QLatin1String("2"), &address, 1, 0));
    EXPECT_EQ(2, address);
    EXPECT_EQ(DX7_ADDRESS_VALID,
              library.checkAddr(QLatin1String("SDO"), QLatin1String("8"), &address, -1, 1, 0));
    EXPECT_EQ(8, address);
    QVector<QString> texts;
    QVector<int> addresses;
    EXPECT_EQ(DX7_COPY_IN_RANGE, library.multiCopy(QLatin1String("SDO"), 1, 3, 2, &texts, &addresses));
    EXPECT_EQ((QVector<int>{1, 3, 5}), addresses);
}

TEST_F(Surface, AWholeLoopRunsThroughTheNames) {
    LoadedLibrary library(LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_EQ("", library.problem());
    HostMemory memory;
    EXPECT_EQ(1, memory.start(library, "7#0#0#3#16"));
    library.setAddrValueChangeCallBack(recordFirst);
    QVector<_RCP_VAR_PRO> recipes(2);
    recipes[0].linkId = 7;
    EXPECT_EQ(1, library.setRcpAddress(recipes));
    QList<KEY_ADDRESS> monitored;
    monitored << item(1, "CW", 0, 1);
    EXPECT_EQ(1, library.addrMerge(monitored));
    KEY_ADDRESS once = item(1, "SW", 0, 1);
    EXPECT_EQ(DX7_DONE, library.addConditionRead(once, 3));
    unsigned char value[2] = {0x34, 0x12};
    EXPECT_EQ(DX7_DONE, library.setData(1, QLatin1String("MOD"), 1, 1, value, 2));

    FRAME_PRO frame;
    QString info;
    ASSERT_EQ(DX7_SEND_FRAME, library.getSendFrame(&frame));
    EXPECT_EQ(0x06, frame.sendBuf[1]);
    QByteArray echo(reinterpret_cast<const char*>(frame.sendBuf), frame.sendLen);
    EXPECT_EQ(DX7_REPLY_GOOD, library.dealRcvFrame(echo, info));
    EXPECT_EQ(QLatin1String("1#MOD1(1)(8)"), info);
    ASSERT_EQ(DX7_SEND_FRAME, library.getSendFrame(&frame));
    EXPECT_EQ(QLatin1String("SW"), frame.regType);
    QByteArray reply = kit::withCrc(QByteArray::fromHex("0103020001"));
    EXPECT_EQ(DX7_REPLY_GOOD, library.dealRcvFrame(reply, info));
    ASSERT_EQ(DX7_SEND_FRAME, library.getSendFrame(&frame));
    EXPECT_EQ(QLatin1String("CW"), frame.regType);
    reply = kit::withCrc(QByteArray::fromHex("010302047f"));
    EXPECT_EQ(DX7_REPLY_GOOD, library.dealRcvFrame(reply, info));

    unsigned char out[2] = {0, 0};
    EXPECT_EQ(DX7_DONE, library.getData(1, QLatin1String("CW"), 0, 1, out));
    EXPECT_EQ(0x7F, out[0]);
    EXPECT_EQ(0x04, out[1]);
    ASSERT_EQ(2u, changesOfFirst.size());
    EXPECT_EQ(QLatin1String("-1"), changesOfFirst[0].regType);
    EXPECT_EQ(7, changesOfFirst[1].linkId);
    EXPECT_EQ(QLatin1String("CW"), changesOfFirst[1].regType);
}

TEST_F(Surface, LoadsAndUnloads1000TimesAlwaysAnew) {
    ASSERT_FALSE(isLoaded(LIBRARY));
    QList<QString> kept;
    for (int round = 1; round <= 1000; ++round) {
        {
            LoadedLibrary library(LIBRARY, RTLD_NOW | RTLD_LOCAL);
            ASSERT_EQ("", library.problem()) << "round " << round;
            ASSERT_EQ(0, library.state->linkId) << "round " << round;
            HostMemory memory;
            const QByteArray properties = QByteArray::number(round) + "#0#0#3#16";
            ASSERT_EQ(1, memory.start(library, properties.constData()));
            ASSERT_EQ(round, library.state->linkId);
            QString page;
            library.getDriverPropertyPage(page);
            kept << page;
            ASSERT_EQ(DX7_TYPE_KNOWN, library.getRegListByType(1, kept));
        }
        ASSERT_FALSE(isLoaded(LIBRARY)) << "still loaded after round " << round;
    }
    // What the library has handed out belongs to the host and outlives it.
    ASSERT_EQ(10000, kept.size());
    EXPECT_EQ(QLatin1String("0_0"), kept.first());
    EXPECT_EQ(QLatin1String("FAS"), kept.last());
}

TEST_F(Surface, FramesAndPlansOutliveTheLibrary) {
    FRAME_PRO frame;
    QList<KEY_ADDRESS> monitored;
    monitored << item(1, "CW", 0, 1) << item(1, "SW", 0, 1);
    QString info;
    {
        LoadedLibrary library(LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_EQ("", library.problem());
        HostMemory memory;
        memory.start(library, "1#0#0#1#16");
        library.setAddrValueChangeCallBack(recordFirst);
        library.addrMerge(monitored);
        ASSERT_EQ(DX7_SEND_FRAME, library.getSendFrame(&frame));
        QByteArray reply = kit::withCrc(QByteArray::fromHex("0103020001"));
        ASSERT_EQ(DX7_REPLY_GOOD, library.dealRcvFrame(reply, info));
    }
    ASSERT_FALSE(isLoaded(LIBRARY));
    EXPECT_EQ(QLatin1String("SW"), frame.regType);
    EXPECT_EQ(2, monitored.size());
    EXPECT_EQ(QLatin1String("1#SW0(1)(7)"), info);
}

// Two copies of the library, loaded with the same flags, each with a link of its own.
class TwoCopies : public Surface, public testing::WithParamInterface<int> {};

TEST_P(TwoCopies, ShareNoState) {
    const std::string firstPath = copyNamed("first_link.so");
    const std::string secondPath = copyNamed("second_link.so");
    LoadedLibrary first(firstPath, RTLD_NOW | GetParam());
    LoadedLibrary second(secondPath, RTLD_NOW | GetParam());
    ASSERT_EQ("", first.problem());
    ASSERT_EQ("", second.problem());
    ASSERT_NE(first.state, second.state);

    HostMemory firstMemory;
    HostMemory secondMemory;
    firstMemory.start(first, "1#0#0#3#64");
    secondMemory.start(second, "2#0#0#1#8");
    first.setAddrValueChangeCallBack(recordFirst);
    second.setAddrValueChangeCallBack(recordSecond);
    EXPECT_EQ(1, first.state->linkId);
    EXPECT_EQ(64, first.state->maxBlockWordsCopy);
    EXPECT_EQ(2, second.state->linkId);
    EXPECT_EQ(8, second.state->maxBlockWordsCopy);

    QList<KEY_ADDRESS> monitored;
    monitored << item(1, "MOD", 1, 1);
    EXPECT_EQ(1, first.addrMerge(monitored));
    FRAME_PRO frame;
    EXPECT_EQ(DX7_SEND_NOTHING, second.getSendFrame(&frame));
    ASSERT_EQ(DX7_SEND_FRAME, first.getSendFrame(&frame));
    QString info;
    QByteArray reply = kit::withCrc(QByteArray::fromHex("0103021234"));
    EXPECT_EQ(DX7_REPLY_UNEXPECTED, second.dealRcvFrame(reply, info));
    EXPECT_EQ(DX7_REPLY_GOOD, first.dealRcvFrame(reply, info));

    ASSERT_EQ(1u, changesOfFirst.size());
    EXPECT_EQ(1, changesOfFirst[0].linkId);
    EXPECT_TRUE(changesOfSecond.empty());
    unsigned char out[2] = {0xEE, 0xEE};
    second.getData(1, QLatin1String("MOD"), 1, 1, out);
    EXPECT_EQ(0, out[0]);
    EXPECT_EQ(0, out[1]);
    first.getData(1, QLatin1String("MOD"), 1, 1, out);
    EXPECT_EQ(0x34, out[0]);
    EXPECT_EQ(0x12, out[1]);

    unsigned char bit = 1;
    second.setData(1, QLatin1String("DO"), 1, 1, &bit, 2);
    ASSERT_EQ(1u, changesOfSecond.size());
    EXPECT_EQ(2, changesOfSecond[0].linkId);
    EXPECT_EQ(1u, changesOfFirst.size());
    EXPECT_EQ(0, first.state->writeList.size());
}

TEST_P(TwoCopies, UnloadingOneLeavesTheOtherAtWork) {
    const std::string firstPath = copyNamed("first_link.so");
    const std::string secondPath = copyNamed("second_link.so");
    auto first = std::make_unique<LoadedLibrary>(firstPath, RTLD_NOW | GetParam());
    LoadedLibrary second(secondPath, RTLD_NOW | GetParam());
    ASSERT_EQ("", first->problem());
    ASSERT_EQ("", second.problem());
    first.reset();
    ASSERT_FALSE(isLoaded(firstPath));
    QString parameter;
    second.getDriverParameter(parameter);
    EXPECT_TRUE(parameter.endsWith(QLatin1String(",MOD,FAS")));
    QList<QString> texts;
    EXPECT_EQ(DX7_TYPE_KNOWN, second.getRegDiscription(QLatin1String("FAS"), texts));
}

INSTANTIATE_TEST_SUITE_P(LoadFlags, TwoCopies, testing::Values(int(RTLD_LOCAL), int(RTLD_GLOBAL)),
                         [](const testing::TestParamInfo<int>& flag) {
                             return flag.param == RTLD_GLOBAL ? "Global" : "Local";
                         });

}  // namespace
