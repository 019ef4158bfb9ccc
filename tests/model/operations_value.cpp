// Reading and writing values, and what the callback does.
#include <QtCore/QString>
#include <vector>

#include "generators.h"
#include "operations.h"
#include "texts.h"

namespace differential {

namespace gen = rc::gen;

namespace {

// Bytes that `count` items of any type fit into.
std::size_t bufferFor(int count) {
    return count > 0 ? 2 * static_cast<std::size_t>(count) : 1;
}

struct GetData {
    int station = 0;
    model::Text type;
    int address = 0;
    int count = 0;
    void perform(Rig& rig) const {
        std::vector<model::Byte> modelOut(bufferFor(count) + 4, 0xA5);
        std::vector<model::Byte> libraryOut(modelOut);
        const int modelResult = rig.model.intf_getData(station, type, address, count, modelOut.data());
        rig.same("result", modelResult,
                 intf_getData(station, toQString(type), address, count, libraryOut.data()));
        rig.same("out", modelOut, libraryOut);
    }
    void print(std::ostream& out) const {
        out << "getData(" << station << ", " << quoted(type) << ", " << address << ", " << count << ")";
    }
};

struct SetData {
    int station = 0;
    model::Text type;
    int address = 0;
    int count = 0;
    int dataSeed = 0;
    int tag = 0;
    void perform(Rig& rig) const {
        const std::vector<model::Byte> modelData = bytesOf(dataSeed, bufferFor(count));
        std::vector<model::Byte> libraryData(modelData);
        const int modelResult = rig.model.intf_setData(station, type, address, count, modelData.data(), tag);
        rig.same("result", modelResult,
                 intf_setData(station, toQString(type), address, count, libraryData.data(), tag));
        rig.same("the host's data", modelData, libraryData);
    }
    void print(std::ostream& out) const {
        out << "setData(" << station << ", " << quoted(type) << ", " << address << ", " << count << ", data "
            << dataSeed << ", tag " << tag << ")";
    }
};

struct ManyWrites {
    int number = 0;
    int first = 0;
    void perform(Rig& rig) const {
        for (int i = 0; i < number; ++i) {
            unsigned char data[2] = {static_cast<unsigned char>(i), 1};
            rig.model.intf_setData(1, u"F", first + i, 1, data, i);
            intf_setData(1, QString::fromLatin1("F"), first + i, 1, data, i);
        }
    }
    void print(std::ostream& out) const {
        out << "setData of F " << first << ", one by one, " << number << " times";
    }
};

struct ChooseScript {
    ScriptMode mode = ScriptMode::Listen;
    int seed = 0;
    void perform(Rig& rig) const { rig.chooseScript(mode, seed); }
    void print(std::ostream& out) const {
        const char* const names[3] = {"listens", "asks", "meddles"};
        out << "from now on the callback " << names[static_cast<int>(mode)] << ", script " << seed;
    }
};

}  // namespace

rc::Gen<OperationPtr> valueOperations() {
    const auto get =
        gen::build<GetData>(gen::set(&GetData::station, stations()), gen::set(&GetData::type, regTypes()),
                            gen::set(&GetData::address, addresses()), gen::set(&GetData::count, counts()));
    const auto set = gen::build<SetData>(
        gen::set(&SetData::station, stations()), gen::set(&SetData::type, regTypes()),
        gen::set(&SetData::address, addresses()),
        gen::set(&SetData::count,
                 gen::weightedOneOf<int>(
                     {{60, counts()}, {1, gen::element(123, 124, 507, 508, 512, 513, 1024, 1030)}})),
        gen::set(&SetData::dataSeed, dataSeeds()), gen::set(&SetData::tag, gen::element(2, 0, -7, 4)));
    const auto many = gen::build<ManyWrites>(gen::set(&ManyWrites::number, gen::inRange(0, 520)),
                                             gen::set(&ManyWrites::first, gen::inRange(0, 30)));
    const auto script = gen::build<ChooseScript>(
        gen::set(&ChooseScript::mode, gen::element(ScriptMode::Listen, ScriptMode::Ask, ScriptMode::Meddle)),
        gen::set(&ChooseScript::seed, gen::inRange(0, 10000)));
    return gen::weightedOneOf<OperationPtr>({{60, operationOf<GetData>(get)},
                                             {120, operationOf<SetData>(set)},
                                             {1, operationOf<ManyWrites>(many)},
                                             {40, operationOf<ChooseScript>(script)}});
}

}  // namespace differential
