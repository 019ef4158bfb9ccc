#include "scripted_line.h"

#include "host/exchange/rtu_frame.h"
#include "tests/kit/crc.h"

using namespace dx7;

bool ScriptedLine::open() {
    ++openAttempts;
    clock_.sleepUntilUs(clock_.nowUs() + openTakesUs);
    return finishOpening();
}

Line::Opening ScriptedLine::reopen() {
    if (openEndUs_ < 0) {
        ++openAttempts;
        openEndUs_ = clock_.nowUs() + openTakesUs;
    }
    if (clock_.nowUs() < openEndUs_) {
        return Opening::UnderWay;
    }
    return finishOpening() ? Opening::Open : Opening::Failed;
}

bool ScriptedLine::finishOpening() {
    openEndUs_ = -1;
    open_ = !refuseOpen;
    return open_;
}

bool ScriptedLine::send(const QByteArray& bytes) {
    took_ = 0;
    if (!open_) {
        return false;
    }
    if (lostAfterBytes >= 0) {
        took_ = lostAfterBytes;
        close();
        return false;
    }
    took_ = bytes.size();
    requests += bytes;
    requestTimes += clock_.nowUs();
    if (script) {
        script(*this, bytes);
    }
    return true;
}

bool ScriptedLine::receive(QByteArray* bytes) {
    while (open_ && !arrivals_.empty() && arrivals_.begin()->first <= clock_.nowUs()) {
        *bytes += arrivals_.begin()->second;
        arrivals_.erase(arrivals_.begin());
    }
    return open_;
}

void ScriptedLine::arriveInTurn(const QByteArray& bytes, qint64 delayUs) {
    const qint64 lastUs = arrivals_.empty() ? 0 : arrivals_.rbegin()->first;
    arrivals_.emplace(std::max(clock_.nowUs() + delayUs, lastUs), bytes);
}

qint64 ScriptedLine::worthUs() const {
    int bytes = 0;
    for (const auto& arrival : arrivals_) {
        bytes += arrival.second.size();
        if (bytes >= expected_) {
            return arrival.first;
        }
    }
    return -1;
}

void ScriptedLine::close() {
    open_ = false;
    arrivals_.clear();
}

QByteArray framed(const QByteArray& bytes) {
    return kit::withCrc(bytes);
}

bool isQuery(const QByteArray& request) {
    return byteAt(request, 1) == READ_EXCEPTION_STATUS || byteAt(request, 1) == DIAGNOSTICS;
}

QVector<QByteArray> withoutQueries(const QVector<QByteArray>& requests) {
    QVector<QByteArray> others;
    for (const QByteArray& request : requests) {
        if (!isQuery(request)) {
            others += request;
        }
    }
    return others;
}

QByteArray ScriptedDevice::answer(const QByteArray& request) {
    const int function = byteAt(request, 1);
    const int start = wordAt(request, 2);
    const int value = wordAt(request, 4);
    QByteArray reply = request.left(2);
    if (function <= 2) {
        QByteArray packed((value + 7) / 8, 0);
        for (int i = 0; i < value; ++i) {
            packed[i / 8] = static_cast<char>(packed.at(i / 8) | (coils[start + i] << (i % 8)));
        }
        return framed(reply + static_cast<char>(packed.size()) + packed);
    }
    if (function <= 4) {
        reply += static_cast<char>(2 * value);
        for (int i = 0; i < value; ++i) {
            reply += static_cast<char>(registers[start + i] >> 8);
            reply += static_cast<char>(registers[start + i] & 0xFF);
        }
        return framed(reply);
    }
    if (function == DIAGNOSTICS) {
        return request;
    }
    if (function == READ_EXCEPTION_STATUS) {
        return framed(reply + static_cast<char>(0x55));
    }
    if (function == 5) {
        coils[start] = value == 0xFF00 ? 1 : 0;
    } else if (function == 6) {
        registers[start] = value;
    } else {
        for (int i = 0; i < value; ++i) {
            registers[start + i] = wordAt(request, 7 + 2 * i);
        }
    }
    return framed(request.left(6));
}
