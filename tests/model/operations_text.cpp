// Address checks, multi-copy and what describes the driver.
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVector>
#include <climits>
#include <vector>

#include "addressing.h"
#include "generators.h"
#include "modbus_rtu.h"
#include "operations.h"
#include "texts.h"

namespace differential {

namespace gen = rc::gen;

namespace {

rc::Gen<int> itemCounts() {
    return gen::weightedOneOf<int>(
        {{4, gen::inRange(0, 5)}, {1, gen::element(16, 897, -5, INT_MAX, INT_MIN)}});
}

struct CheckAddrValidity {
    model::Text type;
    model::Text text;
    int count = 0;
    int wordAccess = 0;
    void perform(Rig& rig) const {
        int modelAddress = -12345;
        int libraryAddress = -12345;
        const int modelResult =
            rig.model.intf_checkAddrValidity(type, text, &modelAddress, count, wordAccess);
        rig.same(
            "result", modelResult,
            intf_checkAddrValidity(toQString(type), toQString(text), &libraryAddress, count, wordAccess));
        rig.same("address", modelAddress, libraryAddress);
    }
    void print(std::ostream& out) const {
        out << "checkAddrValidity(" << quoted(type) << ", " << quoted(text) << ", count " << count
            << ", wordAccess " << wordAccess << ")";
    }
};

struct CheckAddr {
    model::Text type;
    model::Text text;
    int dataType = 0;
    int count = 0;
    int accessMode = 0;
    void perform(Rig& rig) const {
        int modelAddress = -12345;
        int libraryAddress = -12345;
        const int modelResult =
            rig.model.intf_checkAddr(type, text, &modelAddress, dataType, count, accessMode);
        rig.same(
            "result", modelResult,
            intf_checkAddr(toQString(type), toQString(text), &libraryAddress, dataType, count, accessMode));
        rig.same("address", modelAddress, libraryAddress);
    }
    void print(std::ostream& out) const {
        out << "checkAddr(" << quoted(type) << ", " << quoted(text) << ", dataType " << dataType << ", count "
            << count << ", accessMode " << accessMode << ")";
    }
};

struct MultiCopy {
    model::Text type;
    int start = 0;
    int copies = 0;
    int step = 0;
    void perform(Rig& rig) const {
        std::vector<model::Text> modelTexts(1, u"first");
        std::vector<int> modelAddresses(1, 42);
        QVector<QString> libraryTexts(1, QString::fromLatin1("first"));
        QVector<int> libraryAddresses(1, 42);
        const int modelResult =
            rig.model.intf_multiCopy(type, start, copies, step, &modelTexts, &modelAddresses);
        rig.same("result", modelResult,
                 intf_multiCopy(toQString(type), start, copies, step, &libraryTexts, &libraryAddresses));
        rig.same("texts", static_cast<long long>(modelTexts.size()), libraryTexts.size());
        rig.same("addresses", static_cast<long long>(modelAddresses.size()), libraryAddresses.size());
        for (std::size_t i = 0; i < modelTexts.size(); ++i) {
            rig.same("text", modelTexts[i], libraryTexts.at(static_cast<int>(i)));
            rig.same("address", modelAddresses[i], libraryAddresses.at(static_cast<int>(i)));
        }
    }
    void print(std::ostream& out) const {
        out << "multiCopy(" << quoted(type) << ", start " << start << ", copies " << copies << ", step "
            << step << ")";
    }
};

struct Describe {
    model::Text type;
    int kind = 0;
    void perform(Rig& rig) const {
        std::vector<model::Text> modelTexts(1, u"first");
        QList<QString> libraryTexts;
        libraryTexts.append(QString::fromLatin1("first"));
        rig.same("description", rig.model.intf_getRegDiscription(type, modelTexts),
                 intf_getRegDiscription(toQString(type), libraryTexts));
        rig.same("list", rig.model.intf_getRegListByType(kind, modelTexts),
                 intf_getRegListByType(kind, libraryTexts));
        model::Text modelText = u"old";
        QString libraryText = QString::fromLatin1("old");
        rig.model.intf_getDriverParameter(modelText);
        intf_getDriverParameter(libraryText);
        rig.same("parameter", modelText, libraryText);
        rig.model.intf_getDriverPropertyPage(modelText);
        intf_getDriverPropertyPage(libraryText);
        rig.same("property page", modelText, libraryText);
        rig.model.intf_SetDriverPropertyPage(modelText);
        intf_SetDriverPropertyPage(libraryText);
        rig.same("set property page", modelText, libraryText);
        int modelNumber = 9;
        int libraryNumber = 9;
        rig.model.intf_getProtocolType(&modelNumber);
        intf_getProtocolType(&libraryNumber);
        rig.same("protocol type", modelNumber, libraryNumber);
        rig.same("texts", static_cast<long long>(modelTexts.size()), libraryTexts.size());
        for (std::size_t i = 0; i < modelTexts.size(); ++i) {
            rig.same("text", modelTexts[i], libraryTexts.at(static_cast<int>(i)));
        }
    }
    void print(std::ostream& out) const { out << "descriptions of " << quoted(type) << ", list " << kind; }
};

struct Numbers {
    model::Text type;
    model::Text text;
    int station = 0;
    int address = 0;
    int bit = 0;
    void perform(Rig& rig) const {
        int modelValue = -12345;
        int libraryValue = -12345;
        rig.same("parsed", rig.model.a2i_dddd_h_h_dd(text, &modelValue),
                 a2i_dddd_h_h_dd(toQString(text), &libraryValue));
        rig.same("value", modelValue, libraryValue);
        const char digit = static_cast<char>(bit + 45);
        rig.same("hexadecimal digit", rig.model.ConvertHexChar(digit), ConvertHexChar(digit));
        rig.same("weight", rig.model.getRegAddressWeight(station, type, address, bit),
                 getRegAddressWeight(station, toQString(type), address, bit));
        rig.same("bit set", rig.model._setBitValue(address, bit, 5), _setBitValue(address, bit, 5));
        rig.same("bit cleared", rig.model._setBitValue(address, bit, 0), _setBitValue(address, bit, 0));
    }
    void print(std::ostream& out) const {
        out << "parse " << quoted(text) << ", weight of (" << station << ", " << quoted(type) << ", "
            << address << "), bit " << bit;
    }
};

}  // namespace

rc::Gen<OperationPtr> textOperations() {
    const auto first = gen::build<CheckAddrValidity>(
        gen::set(&CheckAddrValidity::type, regTypes()), gen::set(&CheckAddrValidity::text, addressTexts()),
        gen::set(&CheckAddrValidity::count, itemCounts()),
        gen::set(&CheckAddrValidity::wordAccess, gen::element(0, 1, 1, -1, 7)));
    const auto second = gen::build<CheckAddr>(
        gen::set(&CheckAddr::type, regTypes()), gen::set(&CheckAddr::text, addressTexts()),
        gen::set(&CheckAddr::dataType, gen::element(-1, 0, 1, 5)), gen::set(&CheckAddr::count, itemCounts()),
        gen::set(&CheckAddr::accessMode, gen::element(0, 1, 2, 3)));
    const auto copies = gen::build<MultiCopy>(
        gen::set(&MultiCopy::type, regTypes()), gen::set(&MultiCopy::start, addresses()),
        gen::set(&MultiCopy::copies, gen::inRange(-2, 9)), gen::set(&MultiCopy::step, anyInts()));
    const auto describe = gen::build<Describe>(gen::set(&Describe::type, regTypes()),
                                               gen::set(&Describe::kind, gen::inRange(-1, 3)));
    const auto numbers =
        gen::build<Numbers>(gen::set(&Numbers::type, regTypes()), gen::set(&Numbers::text, addressTexts()),
                            gen::set(&Numbers::station, stations()), gen::set(&Numbers::address, addresses()),
                            gen::set(&Numbers::bit, gen::inRange(-40, 70)));
    return gen::weightedOneOf<OperationPtr>({{8, operationOf<CheckAddrValidity>(first)},
                                             {8, operationOf<CheckAddr>(second)},
                                             {4, operationOf<MultiCopy>(copies)},
                                             {1, operationOf<Describe>(describe)},
                                             {4, operationOf<Numbers>(numbers)}});
}

}  // namespace differential
