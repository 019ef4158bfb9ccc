// Tries the driver on the board itself: loads the library as a panel does and compares names, record layouts,
// tables, texts and a conversation with what they must be. Needs C++11 and QtCore alone.
//   korvalent_dx7_self_test [LIBRARY]     (default: ./libkorvalent_dx7.so)
// Exit code: 0 all is well, 1 it is not, 2 wrong usage.
#include <dlfcn.h>
#include <korvalent_dx7.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMutex>
#include <QtCore/QString>
#include <QtCore/QVector>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

int checks = 0;
int differences = 0;

void compare(const char* what, const QByteArray& expected, const QByteArray& found) {
    ++checks;
    if (expected != found) {
        ++differences;
        std::printf("DIFFERS  %s: expected %s, found %s\n", what, expected.constData(), found.constData());
    }
}

QByteArray number(long value) {
    return QByteArray::number(static_cast<qlonglong>(value));
}

void compare(const char* what, long expected, long found) {
    compare(what, number(expected), number(found));
}

void compare(const char* what, const char* expected, const QString& found) {
    compare(what, QByteArray(expected), found.toLatin1());
}

QString latin(const char* characters) {
    return QString::fromLatin1(characters);
}

/// Says how the checks since the last call went.
void conclude(const char* subject) {
    static int checksBefore = 0;
    static int differencesBefore = 0;
    const int done = checks - checksBefore;
    const int failed = differences - differencesBefore;
    std::printf("%-8s %s: %d of %d checks passed\n", failed == 0 ? "ok" : "FAILED", subject, done - failed,
                done);
    checksBefore = checks;
    differencesBefore = differences;
}

/// The 18 functions without their prefix, and the object `driver`.
struct Driver {
    decltype(&intf_getProtocolType) getProtocolType;
    decltype(&intf_getDriverParameter) getDriverParameter;
    decltype(&intf_getDriverPropertyPage) getDriverPropertyPage;
    decltype(&intf_SetDriverPropertyPage) setDriverPropertyPage;
    decltype(&intf_getRegListByType) getRegListByType;
    decltype(&intf_getRegDiscription) getRegDiscription;
    decltype(&intf_initProperty) initProperty;
    decltype(&intf_setAddrValueChangeCallBack) setAddrValueChangeCallBack;
    decltype(&intf_setRcpAddress) setRcpAddress;
    decltype(&intf_checkAddrValidity) checkAddrValidity;
    decltype(&intf_checkAddr) checkAddr;
    decltype(&intf_multiCopy) multiCopy;
    decltype(&intf_addrMerge) addrMerge;
    decltype(&intf_addConditionRead) addConditionRead;
    decltype(&intf_getSendFrame) getSendFrame;
    decltype(&intf_dealRcvFrame) dealRcvFrame;
    decltype(&intf_getData) getData;
    decltype(&intf_setData) setData;
    korvalent_dx7* object;
};

template <typename Pointer>
void resolve(void* library, Pointer& target, const char* name) {
    target = reinterpret_cast<Pointer>(dlsym(library, name));
    ++checks;
    if (target == 0) {
        ++differences;
        std::printf("DIFFERS  the library has no symbol %s\n", name);
    }
}

/// Returns whether everything was found.
bool resolveAll(void* library, Driver& dx7) {
    const int before = differences;
    resolve(library, dx7.getProtocolType, "intf_getProtocolType");
    resolve(library, dx7.getDriverParameter, "intf_getDriverParameter");
    resolve(library, dx7.getDriverPropertyPage, "intf_getDriverPropertyPage");
    resolve(library, dx7.setDriverPropertyPage, "intf_SetDriverPropertyPage");
    resolve(library, dx7.getRegListByType, "intf_getRegListByType");
    resolve(library, dx7.getRegDiscription, "intf_getRegDiscription");
    resolve(library, dx7.initProperty, "intf_initProperty");
    resolve(library, dx7.setAddrValueChangeCallBack, "intf_setAddrValueChangeCallBack");
    resolve(library, dx7.setRcpAddress, "intf_setRcpAddress");
    resolve(library, dx7.checkAddrValidity, "intf_checkAddrValidity");
    resolve(library, dx7.checkAddr, "intf_checkAddr");
    resolve(library, dx7.multiCopy, "intf_multiCopy");
    resolve(library, dx7.addrMerge, "intf_addrMerge");
    resolve(library, dx7.addConditionRead, "intf_addConditionRead");
    resolve(library, dx7.getSendFrame, "intf_getSendFrame");
    resolve(library, dx7.dealRcvFrame, "intf_dealRcvFrame");
    resolve(library, dx7.getData, "intf_getData");
    resolve(library, dx7.setData, "intf_setData");
    resolve(library, dx7.object, "driver");
    conclude("exported names");
    return differences == before;
}

/// Size of a record and the offsets of its fields, as text.
class Layout {
public:
    template <typename Record>
    explicit Layout(const Record& record)
        : start_(reinterpret_cast<const char*>(&record)), text_(number(static_cast<long>(sizeof record))) {}

    template <typename Field>
    Layout& operator()(const Field& field) {
        text_ += " " + number(reinterpret_cast<const char*>(&field) - start_);
        return *this;
    }

    const QByteArray& text() const { return text_; }

private:
    const char* start_;
    QByteArray text_;
};

/// Layouts are given as they are where pointers have 4 bytes (the panel), and 8.
void compareLayout(const char* what, const char* with4, const char* with8, const Layout& found) {
    compare(what, QByteArray(sizeof(void*) == 4 ? with4 : with8), found.text());
}

void checkLayout() {
    const KEY_ADDRESS k;
    compareLayout("KEY_ADDRESS", "1060 0 4 8 12 16 20 24 28 32 36", "1080 0 8 12 16 24 32 40 44 48 52",
                  Layout(k)(k.hostText)(k.hostWord1)(k.hostWord2)(k.station)(k.regType)(k.hostText2)(
                      k.address)(k.bitOffset)(k.length)(k.data));
    const FRAME_PRO f;
    compareLayout("FRAME_PRO", "2088 0 1024 1028 1032 1036 1040 1044 1048 1052 1056 1060 1064",
                  "2096 0 1024 1028 1032 1036 1040 1044 1048 1056 1064 1068 1072",
                  Layout(f)(f.sendBuf)(f.sendLen)(f.expectLen)(f.dataOffset)(f.dataCount)(f.frameReserved)(
                      f.opKind)(f.station)(f.regType)(f.address)(f.count)(f.varData));
    const _RCP_VAR_PRO r;
    compareLayout(
        "_RCP_VAR_PRO", "28 0 4 8 12 16 20 24", "32 0 4 8 16 20 24 28",
        Layout(r)(r.linkId)(r.station)(r.regType)(r.address)(r.count)(r.recipeIndex)(r.hostReserved));
    conclude(sizeof(void*) == 4 ? "record layouts, 32 bits" : "record layouts, 64 bits");
}

/// The bytes of a text of hexadecimal digits, and their CRC-16, computed bit by bit.
QByteArray withSum(const char* hex) {
    QByteArray bytes = QByteArray::fromHex(QByteArray(hex));
    unsigned sum = 0xFFFF;
    for (int i = 0; i < bytes.size(); ++i) {
        sum ^= static_cast<unsigned char>(bytes.at(i));
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum & 1U) != 0 ? (sum >> 1) ^ 0xA001U : sum >> 1;
        }
    }
    return bytes.append(static_cast<char>(sum & 0xFF)).append(static_cast<char>(sum >> 8));
}

QByteArray joined(const QList<QString>& texts) {
    QByteArray all;
    for (int i = 0; i < texts.size(); ++i) {
        all += (i == 0 ? "" : " ") + texts.at(i).toLatin1();
    }
    return all;
}

void checkTables(const Driver& dx7) {
    QList<QString> bits;
    QList<QString> words;
    QList<QString> others;
    compare("bit types", 1, dx7.getRegListByType(0, bits));
    compare("bit types", QByteArray("CW_bit SW_bit DO RO SDO DI"), joined(bits));
    compare("word types", 1, dx7.getRegListByType(1, words));
    compare("word types", QByteArray("AI FIN F D DE CW SW MOD FAS"), joined(words));
    compare("other types", 0, dx7.getRegListByType(2, others));

    const QList<QString> types = bits + words;
    QByteArray all;
    for (int i = 0; i < types.size(); ++i) {
        QList<QString> texts;
        compare(types.at(i).toLatin1().constData(), 1, dx7.getRegDiscription(types.at(i), texts));
        all += joined(texts) + "; ";
    }
    compare("descriptions",
            QByteArray("ddd 0 15 0 1; ddd 0 15 0 0; ddd 1 2 0 1; ddd 1 1 0 1; ddd 1 8 0 1; ddd 1 6 0 0; "
                       "ddd 0 3 1 0; ddd 0 0 1 0; h.h.dd 0.0.00 F.#.55 1 1; h.h.dd 0.0.00 1.#.55 1 0; "
                       "dd 0 55 1 0; ddd 0 0 1 1; ddd 0 0 1 0; ddd 1 2 1 1; ddd 0 0 1 0; "),
            all);
    compare("an unknown type", 0, dx7.getRegDiscription(latin("XX"), others));
    compare("names that weights count by", QByteArray("CW_bit SW_bit DO RO SDO DI AI FIN F D DE CW FW MOD"),
            joined(dx7.object->regNames));
    conclude("register types");
}

void checkTexts(const Driver& dx7) {
    int protocol = -1;
    dx7.getProtocolType(&protocol);
    compare("protocol type", 0, protocol);
    QString text;
    dx7.getDriverParameter(text);
    compare("default parameters",
            "0,9600,8,NONE,1,0,1,192.168.0.10,8888,korvalent_dx7,"
            "CW_bit,SW_bit,DO,RO,SDO,DI,AI,FIN,F,D,DE,CW,SW,MOD,FAS",
            text);
    dx7.getDriverPropertyPage(text);
    compare("property page", "0_0", text);
    dx7.setDriverPropertyPage(text);
    compare("property page that was set", "", text);
    conclude("texts");
}

void checkAddresses(const Driver& dx7) {
    struct Row {
        const char *type, *text;
        int isWord, result, address;
    };
    const Row rows[] = {
        {"CW_bit", "15", 0, 0, 15}, {"CW_bit", "16", 0, 2, 16}, {"DO", "2", 0, 0, 2},
        {"DO", "2", 1, 1, -1},      {"AI", "3", 1, 0, 3},       {"MOD", "0", 1, 2, 0},
        {"F", "3.0.24", 1, 0, 192}, {"F", "F.0.55", 1, 0, 895}, {"F", "3.0.56", 1, 2, 224},
        {"D", "1.0.07", 1, 0, 63},  {"DE", "55", 1, 0, 55},     {"F", "g.0.00", 1, 4, -1},
        {"XX", "1", 1, 3, -1},      {"F", "3.0.-4", 1, 4, -1},
    };
    for (std::size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
        int address = -1;
        const QByteArray what = QByteArray(rows[i].type) + " " + rows[i].text;
        compare(what.constData(), rows[i].result,
                dx7.checkAddrValidity(latin(rows[i].type), latin(rows[i].text), &address, 1, rows[i].isWord));
        compare(what.constData(), rows[i].address, address);
    }
    int address = -1;
    compare("writing DI", 6, dx7.checkAddr(latin("DI"), latin("1"), &address, -1, 1, 1));
    compare("a long text", 16, dx7.checkAddr(latin("DO"), latin("0002"), &address, -1, 1, 0));
    QVector<QString> texts;
    QVector<int> all;
    compare("copies", 2, dx7.multiCopy(latin("F"), 894, 3, 1, &texts, &all));
    compare("copies", QByteArray("f.0.54 f.0.55 F.#.55"), joined(texts.toList()));
    conclude("addresses");
}

/// The reports since they were taken last, each as "link station type address; ".
QByteArray reports;

void onReport(int linkId, int station, QString& regType, int address) {
    reports +=
        number(linkId) + " " + number(station) + " " + regType.toLatin1() + " " + number(address) + "; ";
}

void expectReports(const char* what, const char* expected) {
    compare(what, QByteArray(expected), reports);
    reports.clear();
}

/// The host's memory and one link.
class Conversation {
public:
    explicit Conversation(const Driver& dx7) : dx7_(dx7), flags_(60117, 0), recipes_(256, 0) {}

    void start() {
        int out = -1;
        compare("intf_initProperty", 1,
                dx7_.initProperty(flags_.data(), 0, recipes_.data(), &out, "7#0#0#2#16", &mutex_));
        compare("what it writes", 0, out);
        compare("link", 7, dx7_.object->linkId);
        compare("largest block in bits", 128, dx7_.object->maxBlockBits);
        dx7_.setAddrValueChangeCallBack(onReport);
    }

    /// The frame that leaves must be these bytes with their sum; fills frame().
    void expectSent(const char* what, const char* hex) {
        compare(what, 1, dx7_.getSendFrame(&frame_));
        compare(what, withSum(hex).toHex(),
                QByteArray(reinterpret_cast<const char*>(frame_.sendBuf), frame_.sendLen).toHex());
    }

    /// Hands a reply over, which must be judged so and described so.
    void answer(const char* what, QByteArray reply, int result, const char* text) {
        QString info;
        compare(what, result, dx7_.dealRcvFrame(reply, info));
        compare(what, text, info);
    }

    /// The values that the driver shows, as hexadecimal digits.
    void expectData(const char* what, const char* type, int address, int count, const char* hex) {
        unsigned char bytes[16] = {0};
        dx7_.getData(1, latin(type), address, count, bytes);
        const QByteArray shown = QByteArray(reinterpret_cast<const char*>(bytes), sizeof bytes).toHex();
        compare(what, QByteArray(hex), shown.left(static_cast<int>(std::strlen(hex))));
    }

    const FRAME_PRO& frame() const { return frame_; }

private:
    const Driver& dx7_;
    std::vector<unsigned char> flags_, recipes_;
    QMutex mutex_;
    FRAME_PRO frame_;
};

KEY_ADDRESS item(const char* type, int address, int length) {
    KEY_ADDRESS key;
    key.station = 1;
    key.regType = latin(type);
    key.address = address;
    key.length = length;
    return key;
}

void checkReading(const Driver& dx7, Conversation& line) {
    line.start();
    QList<KEY_ADDRESS> list;
    list << item("F", 193, 1) << item("F", 192, 1) << item("DO", 1, 2);
    compare("blocks of the polling plan", 2, dx7.addrMerge(list));
    line.expectSent("read of DO", "010110200002");
    line.answer("reply of DO", withSum("01010102"), 1, "1#DO1(2)(6)");
    expectReports("reports of DO", "7 1 DO 1; 7 1 DO 2; ");
    line.expectData("values of DO", "DO", 1, 2, "0001");

    line.expectSent("read of F", "0103f3240002");
    compare("length of the reply", 9, line.frame().expectLen);
    compare("where its data begins", 3, line.frame().dataOffset);
    compare("its data", 4, line.frame().dataCount);
    compare("its first item", 192, line.frame().address);
    compare("its items", 2, line.frame().count);
    compare("its type", "F", line.frame().regType);
    line.answer("a damaged reply", withSum("0103040226000a").replace(5, 1, "x"), 8, "1#F192(2)(9)");
    line.expectData("values after it", "F", 192, 2, "00000000");
    line.expectSent("the read once more", "0103f3240002");
    line.answer("a good reply", withSum("0103040226000a"), 1, "1#F192(2)(9)");
    line.expectData("values after it", "F", 192, 2, "26020a00");
    expectReports("reports of F", "7 1 F 192; 7 1 F 193; ");
    conclude("reading");
}

void checkWriting(const Driver& dx7, Conversation& line) {
    unsigned char value[2] = {0x0D, 0x02};
    compare("intf_setData", 1, dx7.setData(1, latin("F"), 192, 1, value, 2));
    expectReports("report of the write", "7 1 F 192; ");
    line.expectData("the value on its way", "F", 192, 1, "0d02");
    line.expectSent("write of F", "0106e324020d");
    line.answer("its acknowledgement", withSum("0106e324020d"), 1, "1#F192(1)(8)");
    line.expectData("the value written", "F", 192, 1, "0d02");

    KEY_ADDRESS once = item("SW", 0, 1);
    compare("intf_addConditionRead", 1, dx7.addConditionRead(once, 3));
    line.expectSent("read of SW", "010313090001");
    line.answer("no reply", QByteArray(), 8, "1#SW0(1)(0)");
    line.expectSent("the read once more", "010313090001");
    line.answer("no reply again", QByteArray(), 2, "1#SW0(1)(0)");
    expectReports("report of the failure", "-1 -1 -1 -1; ");

    QVector<_RCP_VAR_PRO> recipes(3);
    recipes[0].linkId = recipes[2].linkId = 7;
    compare("recipe variables of this link", 2, dx7.setRcpAddress(recipes));
    conclude("writing");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 2) {
        std::fprintf(stderr, "Usage: %s [LIBRARY]\n", argv[0]);
        return 2;
    }
    const char* const path = argc == 2 ? argv[1] : "./libkorvalent_dx7.so";
    std::printf("%s, built with QtCore %s\n", path, QT_VERSION_STR);
    void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library == 0) {
        std::printf("FAILED   loading: %s\n", dlerror());
        return 1;
    }
    Driver dx7 = Driver();
    checkLayout();
    if (resolveAll(library, dx7)) {
        checkTables(dx7);
        checkTexts(dx7);
        checkAddresses(dx7);
        Conversation line(dx7);
        checkReading(dx7, line);
        checkWriting(dx7, line);
    }
    const char* const verdict = differences == 0 ? "All is well" : "The driver must not be used";
    std::printf("%s: %d of %d checks passed\n", verdict, checks - differences, checks);
    dlclose(library);
    return differences == 0 ? 0 : 1;
}
