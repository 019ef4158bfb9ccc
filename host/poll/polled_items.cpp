#include "host/poll/polled_items.h"

#include "host/exchange/rtu_frame.h"
#include "host/poll/wire_access.h"

namespace dx7 {

namespace {

// A write of several items addresses those that its function code writes singly.
int singleFunction(int function) {
    switch (function) {
        case WRITE_COILS:
            return WRITE_COIL;
        case WRITE_REGISTERS:
            return WRITE_REGISTER;
        default:
            return function;
    }
}

int placeOf(int function, int reg) {
    return singleFunction(function) * 0x10000 + reg;
}

// Adds the item to the run that it continues, else as a new one.
void addItem(QVector<ItemRun>& runs, const RegisterType& type, int address, int reg) {
    for (ItemRun& run : runs) {
        if (run.type.name == type.name && run.address + run.count == address && run.reg + run.count == reg) {
            ++run.count;
            return;
        }
    }
    runs += ItemRun{type, address, 1, reg};
}

void addForeign(QVector<QPair<int, int>>& runs, int reg) {
    if (!runs.isEmpty() && runs.last().first + runs.last().second == reg) {
        ++runs.last().second;
    } else {
        runs += qMakePair(reg, 1);
    }
}

}  // namespace

QString ItemRun::text() const {
    const QString item = type.name + QLatin1Char(':') + type.addressText(address);
    return count == 1 ? item : QStringLiteral("%1,%2").arg(item).arg(count);
}

RegisterRange registersOf(const QByteArray& request) {
    const int function = byteAt(request, 1);
    const int first = wordAt(request, ECHO_START);
    if (function == WRITE_COIL || function == WRITE_REGISTER) {
        return {first, 1};
    }
    const bool run = readsBits(function) || readsWords(function) || isWriteFunction(function);
    return run ? RegisterRange{first, wordAt(request, ECHO_START + 2)} : RegisterRange();
}

RegisterIndex::RegisterIndex(DriverSession& session, const QVector<RegisterType>& types) : types_(types) {
    for (int type = 0; type < types.size(); ++type) {
        const RegisterType& each = types.at(type);
        for (int address = each.lowestAddress; address <= each.highestAddress; ++address) {
            for (const auto& access :
                 {readAccess(session, each, address, 1), writeAccess(session, each, address, 1)}) {
                if (access) {
                    items_[placeOf(access->function, access->reg.value_or(0))] += Item{type, address};
                }
            }
        }
    }
}

PolledItems RegisterIndex::items(const QByteArray& request) const {
    const int function = byteAt(request, 1);
    const RegisterRange range =
        function == READ_EXCEPTION_STATUS ? RegisterRange{0, 1} : registersOf(request);
    PolledItems found;
    for (int reg = range.first; reg < range.first + range.count; ++reg) {
        const QVector<Item> here = items_.value(placeOf(function, reg));
        if (here.isEmpty()) {
            addForeign(found.foreign, reg);
        }
        for (int i = 0; i < here.size(); ++i) {
            const Item& item = here.at(i);
            addItem(i == 0 ? found.items : found.others, types_.at(item.type), item.address, reg);
        }
    }
    return found;
}

}  // namespace dx7
