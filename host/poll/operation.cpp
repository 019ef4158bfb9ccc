#include "host/poll/operation.h"

#include <algorithm>

namespace dx7 {

QVector<ItemRange> requestRanges(const RegisterType& type, int station, int address, int count, int block) {
    QVector<ItemRange> ranges;
    const int limit = type.bit ? 8 * block : block;
    while (count > 0) {
        const int length = std::min(type.runLength(address, count), limit);
        ranges += ItemRange{station, type.name, address, length};
        address += length;
        count -= length;
    }
    return ranges;
}

QVector<Operation> readOperations(const RegisterType& type, int station, int address, int count, int block) {
    QVector<Operation> operations;
    for (const ItemRange& range : requestRanges(type, station, address, count, block)) {
        operations += Operation{Operation::Read, range, type, QByteArray(), {}};
    }
    return operations;
}

QVector<Operation> writeOperations(const WriteRequest& request, int block) {
    const RegisterType& type = request.first.type;
    QVector<Operation> operations;
    int next = 0;
    for (const ItemRange& whole :
         requestRanges(type, request.first.station, request.first.address, request.items.size(), block)) {
        const int step = type.writtenSingly() ? 1 : whole.count;
        for (int offset = 0; offset < whole.count; offset += step) {
            Operation operation{Operation::Write, whole, type, QByteArray(), {}};
            operation.range.address += offset;
            operation.range.count = step;
            for (int i = 0; i < step; ++i, ++next) {
                operation.data += static_cast<char>(request.items.at(next) & 0xFF);
                if (!type.bit) {
                    operation.data += static_cast<char>(request.items.at(next) >> 8);
                }
            }
            operations += operation;
        }
    }
    return operations;
}

}  // namespace dx7
