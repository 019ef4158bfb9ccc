// One loaded library serves many links in turn: the fields of the link whose turn it is are exchanged into
// the driver and back. Every link must go as if it had a library of its own.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMutex>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>
#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "loaded_library.h"
#include "tests/kit/crc.h"

namespace {

const int LINKS = 50;
const int STEPS = 400;
const int HOST_FLAGS = RECIPE_READ_REQUEST + 1;

const char* const TYPES[] = {"CW_bit", "SW_bit", "DO", "RO", "SDO", "DI",  "AI",  "FIN",
                             "F",      "D",      "DE", "CW", "SW",  "MOD", "FAS", "XX"};

/// A host with one link: what it does follows from its seed alone, and what it sees is its record.
class Link {
public:
    explicit Link(int number)
        : number_(number),
          random_(static_cast<unsigned>(number) + 1),
          flags_(HOST_FLAGS, 0),
          recipes_(4096, 0) {}

    /// What the callback reports goes to the link whose turn it is.
    static Link* inTurn;

    void start(LoadedLibrary& library) {
        inTurn = this;
        int out = 1;
        const QByteArray properties = QString("%1#%2#7#%3#%4")
                                          .arg(100 + number_)
                                          .arg(number_ % 10 == 9 ? 1 : 0)
                                          .arg(1 + number_ % 4)
                                          .arg(3 + number_ % 60)
                                          .toLatin1();
        note("start", library.initProperty(flags_.data(), static_cast<quintptr>(number_), recipes_.data(),
                                           &out, properties.constData(), &mutex_));
        library.setAddrValueChangeCallBack(&Link::report);
        plan(library);
    }

    void step(LoadedLibrary& library) {
        inTurn = this;
        switch (pick(24)) {
            case 0:
                return plan(library);
            case 1:
                return start(library);
            case 2:
            case 3:
                return readOnce(library);
            case 4:
            case 5:
            case 6:
                return write(library);
            case 7:
            case 8:
                return look(library);
            case 9:
                return recipes(library);
            case 10:
                flags_[static_cast<std::size_t>(RECIPE_WRITE_REQUEST + pick(2))] =
                    static_cast<unsigned char>(pick(2));
                return;
            default:
                return communicate(library);
        }
    }

    const QStringList& record() const { return record_; }

private:
    static void report(int linkId, int station, QString& regType, int address) {
        inTurn->record_ << QString("report %1 %2 %3 %4").arg(linkId).arg(station).arg(regType).arg(address);
    }

    int pick(int values) { return static_cast<int>(random_() % static_cast<unsigned>(values)); }
    QString pickType() { return QString::fromLatin1(TYPES[pick(16)]); }
    int pickStation() { return 1 + pick(3); }

    void note(const char* what, int result) { record_ << QString("%1 %2").arg(what).arg(result); }

    KEY_ADDRESS pickAddress() {
        KEY_ADDRESS key;
        key.station = pickStation();
        key.regType = pickType();
        key.address = pick(130);
        key.length = 1 + pick(12);
        key.bitOffset = pick(2) - 1;
        return key;
    }

    void plan(LoadedLibrary& library) {
        QList<KEY_ADDRESS> list;
        for (int i = pick(40); i > 0; --i)
            list << pickAddress();
        note("plan", library.addrMerge(list));
    }

    void readOnce(LoadedLibrary& library) {
        KEY_ADDRESS key = pickAddress();
        key.length = 1 + pick(90);
        note("read once", library.addConditionRead(key, 30 + pick(5)));
    }

    void write(LoadedLibrary& library) {
        std::vector<unsigned char> data(256);
        std::generate(data.begin(), data.end(), [this] { return static_cast<unsigned char>(pick(3)); });
        note("write", library.setData(pickStation(), pickType(), pick(60), 1 + pick(90), data.data(), 20));
    }

    void look(LoadedLibrary& library) {
        unsigned char values[64] = {};
        library.getData(pickStation(), pickType(), pick(120), 32, values);
        record_ << QString::fromLatin1(QByteArray(reinterpret_cast<const char*>(values), 64).toHex());
    }

    void recipes(LoadedLibrary& library) {
        QVector<_RCP_VAR_PRO> vars(3);
        for (_RCP_VAR_PRO& var : vars)
            var.linkId = 100 + number_ + pick(2);
        note("recipes", library.setRcpAddress(vars));
    }

    void communicate(LoadedLibrary& library) {
        FRAME_PRO frame;
        const int sends = library.getSendFrame(&frame);
        record_ << QString("send %1 %2 %3").arg(sends).arg(frame.opKind).arg(frame.regType)
                << QString::fromLatin1(
                       QByteArray(reinterpret_cast<const char*>(frame.sendBuf), frame.sendLen).toHex());
        if (pick(8) == 0)
            return;  // the host was interrupted: it asks for the frame again
        QByteArray reply;
        if (pick(5) != 0 && frame.expectLen > 2) {
            for (int i = 0; i < frame.expectLen - 2; ++i)
                reply.append(static_cast<char>(pick(4)));
            reply = kit::withCrc(reply);
        }
        QString info;
        note("reply", library.dealRcvFrame(reply, info));
        record_ << info;
    }

    int number_;
    std::mt19937 random_;
    std::vector<unsigned char> flags_;
    std::vector<unsigned char> recipes_;
    QMutex mutex_;
    QStringList record_;
};

Link* Link::inTurn = nullptr;

QStringList recordAlone(int number) {
    LoadedLibrary library(DX7_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    EXPECT_EQ("", library.problem());
    Link link(number);
    link.start(library);
    for (int step = 0; step < STEPS; ++step)
        link.step(library);
    return link.record();
}

TEST(LinksInTurn, GoAsIfEachHadALibraryOfItsOwn) {
    std::vector<QStringList> alone;
    for (int number = 0; number < LINKS; ++number) {
        ASSERT_FALSE(isLoaded(DX7_LIBRARY)) << "the library was not new for link " << number;
        alone.push_back(recordAlone(number));
    }

    LoadedLibrary library(DX7_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_EQ("", library.problem());
    std::vector<std::unique_ptr<Link>> links;
    std::vector<std::unique_ptr<korvalent_dx7>> parked;
    for (int number = 0; number < LINKS; ++number) {
        links.push_back(std::make_unique<Link>(number));
        parked.push_back(std::make_unique<korvalent_dx7>());
    }
    std::vector<int> turns;
    for (int number = 0; number < LINKS; ++number)
        turns.insert(turns.end(), STEPS + 1, number);
    std::shuffle(turns.begin(), turns.end(), std::mt19937(7));
    std::vector<bool> started(LINKS, false);
    for (const int number : turns) {
        const auto index = static_cast<std::size_t>(number);
        library.state->swap(*parked[index]);
        if (started[index])
            links[index]->step(library);
        else
            links[index]->start(library);
        started[index] = true;
        library.state->swap(*parked[index]);
    }

    for (int number = 0; number < LINKS; ++number) {
        const auto index = static_cast<std::size_t>(number);
        ASSERT_EQ(alone[index].size(), links[index]->record().size()) << "link " << number;
        for (int i = 0; i < alone[index].size(); ++i)
            ASSERT_EQ(alone[index].at(i).toStdString(), links[index]->record().at(i).toStdString())
                << "link " << number << ", line " << i;
    }
    EXPECT_TRUE(library.state->pollList.isEmpty() && library.state->dataAreas.isEmpty())
        << "a link left something in the driver";
}

}  // namespace
