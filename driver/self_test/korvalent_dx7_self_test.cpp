// Tries the driver on the board itself: loads the library as a panel does, resolves everything by name, and
// compares record layouts, tables, texts and a conversation with what they must be. It needs no test
// framework and compiles with the compilers and the QtCore that the driver compiles with; docs/porting.md has
// the command.
//
//   korvalent_dx7_self_test [LIBRARY]     (default: ./libkorvalent_dx7.so)
//
// Prints a line for each subject and one for each difference. Exit code: 0 all is well, 1 it is not, 2 wrong
// usage.
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

void compare(const char* what, long expected, long found) {
    compare(what, QByteArray::number(static_cast<qlonglong>(expected)),
            QByteArray::number(static_cast<qlonglong>(found)));
}

void compare(const char* what, const char* expected, const QString& found) {
    compare(what, QByteArray(expected), found.toLatin1());
}

/// Counts how many checks of a subject failed, and says how it went.
class Subject {
public:
    explicit Subject(const char* name)
        : name_(name), checksBefore_(checks), differencesBefore_(differences) {}
    ~Subject() {
        const int failed = differences - differencesBefore_;
        std::printf("%-8s %s: %d of %d checks passed\n", failed == 0 ? "ok" : "FAILED", name_,
                    checks - checksBefore_ - failed, checks - checksBefore_);
    }

private:
    Q_DISABLE_COPY(Subject)
    const char* name_;
    int checksBefore_;
    int differencesBefore_;
};

#define DX7_FUNCTIONS(DO)                                                                                 \
    DO(getProtocolType)                                                                                   \
    DO(getDriverParameter)                                                                                \
    DO(getDriverPropertyPage)                                                                             \
    DO(SetDriverPropertyPage)                                                                             \
    DO(getRegListByType)                                                                                  \
    DO(getRegDiscription)                                                                                 \
    DO(initProperty) DO(setAddrValueChangeCallBack) DO(setRcpAddress) DO(checkAddrValidity) DO(checkAddr) \
        DO(multiCopy) DO(addrMerge) DO(addConditionRead) DO(getSendFrame) DO(dealRcvFrame) DO(getData)    \
            DO(setData)
#define DX7_DECLARE(name) decltype(&intf_##name) name;
#define DX7_RESOLVE(name) resolve(library, dx7.name, "intf_" #name);

/// The 18 functions without their prefix, and the object `driver`.
struct Driver {
    DX7_FUNCTIONS(DX7_DECLARE)
    korvalent_dx7* object;
};

template <typename Pointer>
void resolve(void* library, Pointer& target, const char* name) {
    void* const symbol = dlsym(library, name);
    std::memcpy(&target, &symbol, sizeof target);
    ++checks;
    if (symbol == 0) {
        ++differences;
        std::printf("DIFFERS  the library has no symbol %s\n", name);
    }
}

/// Returns whether everything was found.
bool resolveAll(void* library, Driver& dx7) {
    const Subject subject("exported names");
    const int before = differences;
    DX7_FUNCTIONS(DX7_RESOLVE)
    resolve(library, dx7.object, "driver");
    return differences == before;
}

// offsetof on a record with a QString member is conditionally supported; g++ and clang both support it.
#if defined(__GNUC__)
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
#endif

/// Compares the size of a record and the offsets of its fields, in their order, with what they are where
/// pointers have 4 bytes (the panel), or 8.
template <std::size_t COUNT>
void compareLayout(const char* record, const std::size_t (&found)[COUNT], const char* with4,
                   const char* with8) {
    QByteArray text;
    for (std::size_t i = 0; i < COUNT; ++i) {
        text += (i == 0 ? "" : " ") + QByteArray::number(static_cast<qulonglong>(found[i]));
    }
    compare(record, QByteArray(sizeof(void*) == 4 ? with4 : with8), text);
}

#define AT(record, field) offsetof(record, field)

void checkLayout() {
    const Subject subject(sizeof(void*) == 4 ? "record layouts, 32 bits" : "record layouts, 64 bits");
    typedef KEY_ADDRESS Key;
    const std::size_t key[] = {sizeof(Key),        AT(Key, hostText), AT(Key, hostWord1), AT(Key, hostWord2),
                               AT(Key, station),   AT(Key, regType),  AT(Key, hostText2), AT(Key, address),
                               AT(Key, bitOffset), AT(Key, length),   AT(Key, data)};
    compareLayout("KEY_ADDRESS", key, "1060 0 4 8 12 16 20 24 28 32 36", "1080 0 8 12 16 24 32 40 44 48 52");
    typedef FRAME_PRO Frame;
    const std::size_t frame[] = {
        sizeof(Frame),         AT(Frame, sendBuf),   AT(Frame, sendLen),       AT(Frame, expectLen),
        AT(Frame, dataOffset), AT(Frame, dataCount), AT(Frame, frameReserved), AT(Frame, opKind),
        AT(Frame, station),    AT(Frame, regType),   AT(Frame, address),       AT(Frame, count),
        AT(Frame, varData)};
    compareLayout("FRAME_PRO", frame, "2088 0 1024 1028 1032 1036 1040 1044 1048 1052 1056 1060 1064",
                  "2096 0 1024 1028 1032 1036 1040 1044 1048 1056 1064 1068 1072");
    typedef _RCP_VAR_PRO Recipe;
    const std::size_t recipe[] = {sizeof(Recipe),          AT(Recipe, linkId),      AT(Recipe, station),
                                  AT(Recipe, regType),     AT(Recipe, address),     AT(Recipe, count),
                                  AT(Recipe, recipeIndex), AT(Recipe, hostReserved)};
    compareLayout("_RCP_VAR_PRO", recipe, "28 0 4 8 12 16 20 24", "32 0 4 8 16 20 24 28");
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
    const Subject subject("register types");
    QList<QString> bits, words, others;
    compare("bit types are known", 1, dx7.getRegListByType(0, bits));
    compare("bit types", QByteArray("CW_bit SW_bit DO RO SDO DI"), joined(bits));
    compare("word types are known", 1, dx7.getRegListByType(1, words));
    compare("word types", QByteArray("AI FIN F D DE CW SW MOD FAS"), joined(words));
    compare("other types are not", 0, dx7.getRegListByType(2, others));

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
    compare("an unknown type", 0, dx7.getRegDiscription(QString::fromLatin1("XX"), others));
    compare("names that weights count by", QByteArray("CW_bit SW_bit DO RO SDO DI AI FIN F D DE CW FW MOD"),
            joined(dx7.object->regNames));
}

void checkTexts(const Driver& dx7) {
    const Subject subject("texts");
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
    dx7.SetDriverPropertyPage(text);
    compare("property page that was set", "", text);
}

void checkAddresses(const Driver& dx7) {
    const Subject subject("addresses");
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
                dx7.checkAddrValidity(QString::fromLatin1(rows[i].type), QString::fromLatin1(rows[i].text),
                                      &address, 1, rows[i].isWord));
        compare(what.constData(), rows[i].address, address);
    }
    int address = -1;
    compare("writing DI", 6,
            dx7.checkAddr(QString::fromLatin1("DI"), QString::fromLatin1("1"), &address, -1, 1, 1));
    compare("a long text", 16,
            dx7.checkAddr(QString::fromLatin1("DO"), QString::fromLatin1("0002"), &address, -1, 1, 0));

    QVector<QString> texts;
    QVector<int> addresses;
    compare("copies", 2, dx7.multiCopy(QString::fromLatin1("F"), 894, 3, 1, &texts, &addresses));
    compare("copies", QByteArray("f.0.54 f.0.55 F.#.55"), joined(texts.toList()));
    compare("number of copies", 3, addresses.size());
}

struct Report {
    int linkId, station;
    QString regType;
    int address;
};
std::vector<Report> reports;

void onReport(int linkId, int station, QString& regType, int address) {
    const Report report = {linkId, station, regType, address};
    reports.push_back(report);
}

QByteArray reportsAsText() {
    QByteArray text;
    for (std::size_t i = 0; i < reports.size(); ++i) {
        text += (i == 0 ? "" : ", ") + QByteArray::number(reports[i].linkId) + " " +
                QByteArray::number(reports[i].station) + " " + reports[i].regType.toLatin1() + " " +
                QByteArray::number(reports[i].address);
    }
    reports.clear();
    return text;
}

/// The host's memory and one link.
class Conversation {
public:
    explicit Conversation(const Driver& dx7) : dx7_(dx7), flags_(60117, 0), recipes_(256, 0) {}

    void start() {
        int out = -1;
        compare("intf_initProperty", 1,
                dx7_.initProperty(&flags_[0], 0, &recipes_[0], &out, "7#0#0#2#16", &mutex_));
        compare("what it writes", 0, out);
        compare("link", 7, dx7_.object->linkId);
        compare("retries", 2, dx7_.object->retryCount);
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
        dx7_.getData(1, QString::fromLatin1(type), address, count, bytes);
        compare(
            what, QByteArray(hex),
            QByteArray(reinterpret_cast<const char*>(bytes), static_cast<int>(std::strlen(hex) / 2)).toHex());
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
    key.regType = QString::fromLatin1(type);
    key.address = address;
    key.length = length;
    return key;
}

void checkReading(const Driver& dx7, Conversation& line) {
    const Subject subject("reading");
    line.start();
    QList<KEY_ADDRESS> list;
    list << item("F", 193, 1) << item("F", 192, 1) << item("DO", 1, 2);
    compare("blocks of the polling plan", 2, dx7.addrMerge(list));
    line.expectSent("read of DO", "010110200002");
    line.answer("reply of DO", withSum("01010102"), 1, "1#DO1(2)(6)");
    compare("reports of DO", QByteArray("7 1 DO 1, 7 1 DO 2"), reportsAsText());
    line.expectData("values of DO", "DO", 1, 2, "0001");

    line.expectSent("read of F", "0103f3240002");
    compare("length of the reply", 9, line.frame().expectLen);
    compare("where its data begins", 3, line.frame().dataOffset);
    compare("bytes of data", 4, line.frame().dataCount);
    compare("its first item", 192, line.frame().address);
    compare("its items", 2, line.frame().count);
    compare("its type", "F", line.frame().regType);
    line.answer("a damaged reply", withSum("0103040226000a").replace(5, 1, "x"), 8, "1#F192(2)(9)");
    line.expectData("values after it", "F", 192, 2, "00000000");
    line.expectSent("the read once more", "0103f3240002");
    line.answer("a good reply", withSum("0103040226000a"), 1, "1#F192(2)(9)");
    line.expectData("values after it", "F", 192, 2, "26020a00");
    compare("reports of F", QByteArray("7 1 F 192, 7 1 F 193"), reportsAsText());
}

void checkWriting(const Driver& dx7, Conversation& line) {
    const Subject subject("writing");
    unsigned char value[2] = {0x0D, 0x02};
    compare("intf_setData", 1, dx7.setData(1, QString::fromLatin1("F"), 192, 1, value, 2));
    compare("report of the write", QByteArray("7 1 F 192"), reportsAsText());
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
    compare("report of the failure", QByteArray("-1 -1 -1 -1"), reportsAsText());

    QVector<_RCP_VAR_PRO> recipes(3);
    recipes[0].linkId = recipes[2].linkId = 7;
    compare("recipe variables of this link", 2, dx7.setRcpAddress(recipes));
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
    std::printf("%s: %d of %d checks passed\n",
                differences == 0 ? "All is well" : "The driver must not be used", checks - differences,
                checks);
    dlclose(library);
    return differences == 0 ? 0 : 1;
}
