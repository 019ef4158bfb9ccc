// Whole sequences of host calls, with good and bad replies and a callback that calls back in. Counts are
// bounded: what is looked for is a wrong step, not the end of the memory.
#include <fuzzer/FuzzedDataProvider.h>
#include <QtCore/QList>

#include "data_areas.h"
#include "link.h"

using namespace dx7fuzz;

namespace {

const int LONGEST_SEQUENCE = 120;
const int DEEPEST_REPORT = 3;
const int MOST_ITEMS = 130;
// Without a block limit, addresses at the end of their range can be joined to blocks of any length.
const int MOST_ITEMS_OF_A_BLOCK = 2000;

class Sequence {
public:
    Sequence(const std::uint8_t* data, std::size_t size)
        : input_(data, size), depth_(0), link_(settings(), report) {
        current = this;
    }
    ~Sequence() { current = nullptr; }

    void run() {
        for (int i = 0; i < LONGEST_SEQUENCE && input_.remaining_bytes() > 0; ++i) {
            step();
        }
        DX7_REQUIRE(driver.writeList.size() <= 513 && driver.conditionList.size() <= 513);
    }

private:
    static Sequence* current;

    const char* settings() {
        static const char* const TEXTS[] = {"1#0#0#3#64", "1#0#0#1#8",  "2#1#0#2#16",        "1#0#0#0#1",
                                            "1#0#0#3#0",  "1#0#0#2#-5", "1#0#0#2#2147483647"};
        return TEXTS[input_.ConsumeIntegralInRange<int>(0, 6)];
    }

    static void report(int linkId, int station, QString& regType, int address) {
        current->reported(linkId, station, regType, address);
    }

    // As a host may: ask for the value, write, queue reads, and change the text it was given.
    void reported(int, int station, QString& regType, int address) {
        if (depth_ >= DEEPEST_REPORT || input_.remaining_bytes() == 0) {
            return;
        }
        ++depth_;
        unsigned char out[2];
        switch (input_.ConsumeIntegralInRange<int>(0, 5)) {
            case 0:
                intf_getData(station, regType, address, 1, out);
                break;
            case 1:
                write();
                break;
            case 2:
                conditionRead();
                break;
            case 3:
                regType = QString::fromLatin1("scribbled");
                break;
            case 4:
                getData();
                break;
            default:
                break;
        }
        --depth_;
    }

    QString regType() {
        const int row = input_.ConsumeIntegralInRange<int>(0, REG_TYPE_COUNT + 1);
        return row < REG_TYPE_COUNT ? REG_LIST[row] : QString::fromLatin1(row == REG_TYPE_COUNT ? "FW" : "");
    }
    int station() { return input_.ConsumeIntegralInRange<int>(0, 3); }
    int address() {
        return input_.ConsumeBool() ? input_.ConsumeIntegralInRange<int>(0, 130)
                                    : input_.ConsumeIntegral<int>();
    }
    int count() { return input_.ConsumeIntegralInRange<int>(-3, MOST_ITEMS); }

    KEY_ADDRESS key() {
        KEY_ADDRESS result;
        result.station = station();
        result.regType = regType();
        result.address = address();
        result.length = count();
        result.bitOffset = input_.ConsumeBool() ? -1 : 0;
        return result;
    }

    void plan() {
        QList<KEY_ADDRESS> list;
        const int entries = input_.ConsumeIntegralInRange<int>(0, 12);
        for (int i = 0; i < entries; ++i) {
            list << key();
        }
        DX7_REQUIRE(intf_addrMerge(list) == list.size());
        DX7_REQUIRE(driver.pollList.size() == list.size());
    }

    void write() {
        const int items = count();
        std::vector<unsigned char> values(items > 0 ? 2 * static_cast<std::size_t>(items) : 0);
        if (!values.empty()) {
            input_.ConsumeData(values.data(), values.size());
        }
        const int where = station();
        const QString type = regType();
        DX7_REQUIRE(
            1 == intf_setData(where, type, address(), items, values.data(), input_.ConsumeIntegral<int>()));
    }

    void getData() {
        const int items = count();
        std::vector<unsigned char> out(items > 0 ? 2 * static_cast<std::size_t>(items) : 0);
        const int where = station();
        const QString type = regType();
        DX7_REQUIRE(1 == intf_getData(where, type, address(), items, out.data()));
    }

    void conditionRead() {
        KEY_ADDRESS wanted = key();
        DX7_REQUIRE(1 == intf_addConditionRead(wanted, input_.ConsumeIntegral<int>()));
    }

    void exchange() {
        FRAME_PRO frame;
        if (intf_getSendFrame(&frame) == DX7_SEND_NOTHING) {
            return;
        }
        checkFrame(frame);
        if (frame.dataCount > MOST_ITEMS_OF_A_BLOCK) {
            link_.start(settings());
            return;
        }
        QByteArray reply = replyTo(frame);
        QString info;
        const int result = intf_dealRcvFrame(reply, info);
        DX7_REQUIRE(result == DX7_REPLY_GOOD || result == DX7_REPLY_GIVEN_UP ||
                    result == DX7_REPLY_SEND_AGAIN);
    }

    QByteArray replyTo(const FRAME_PRO& frame) {
        const int form = input_.ConsumeIntegralInRange<int>(0, 7);
        if (form == 0) {
            return QByteArray();
        }
        const std::string bytes =
            input_.ConsumeBytesAsString(input_.ConsumeIntegralInRange<std::size_t>(0, 40));
        const QByteArray drawn(bytes.data(), static_cast<int>(bytes.size()));
        if (form == 1 || frame.expectLen < 3 || frame.expectLen > 2000) {
            return drawn;
        }
        QByteArray body = drawn;
        while (!drawn.isEmpty() && body.size() < frame.expectLen - 2) {
            body += drawn;
        }
        return withCrc(body.leftJustified(frame.expectLen - 2, '\0', true));
    }

    void recipe() {
        const bool start = input_.ConsumeBool();
        link_.flag(RECIPE_WRITE_REQUEST) = start && input_.ConsumeBool() ? 1 : 0;
        link_.flag(RECIPE_READ_REQUEST) = start && input_.ConsumeBool() ? 1 : 0;
        QVector<_RCP_VAR_PRO> vars(input_.ConsumeIntegralInRange<int>(0, 4));
        for (int i = 0; i < vars.size(); ++i) {
            vars[i].linkId = 1;
            vars[i].station = station();
            vars[i].regType = regType();
            vars[i].address = address();
            vars[i].count = input_.ConsumeIntegralInRange<int>(-1, 8);
            vars[i].recipeIndex = input_.ConsumeIntegralInRange<int>(0, 1000);
        }
        intf_setRcpAddress(vars);
        if (input_.ConsumeBool()) {
            driver.recipeBlocks = driver.recipeVars;
            driver.recipeBlockStart.clear();
            for (int i = 0; i < driver.recipeVars.size(); ++i) {
                driver.recipeBlockStart << i;
            }
        }
    }

    void step() {
        switch (input_.ConsumeIntegralInRange<int>(0, 11)) {
            case 0:
                plan();
                break;
            case 1:
                write();
                break;
            case 2:
                conditionRead();
                break;
            case 3:
                getData();
                break;
            case 4:
                recipe();
                break;
            case 5:
                link_.start(settings());
                break;
            case 6:
                if (!driver.dataAreas.isEmpty()) {
                    driver.dataAreas.removeAt(
                        input_.ConsumeIntegralInRange<int>(0, driver.dataAreas.size() - 1));
                }
                break;
            default:
                exchange();
                break;
        }
    }

    FuzzedDataProvider input_;
    int depth_;
    Link link_;
};

Sequence* Sequence::current = nullptr;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Sequence(data, size).run();
    return 0;
}
