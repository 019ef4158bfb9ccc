#include "simulated_line.h"

#include <algorithm>

#include "host/exchange/rtu_frame.h"
#include "tests/kit/crc.h"

namespace truth {

namespace {

const qint64 MS = 1000;
// What a host forgets that it is owed.
const qint64 FORGOTTEN_US = 9500 * MS;
const qint64 START_US = 1000 * MS;
// In place of the time at which a frame was asked for.
const qint64 COPY = -1;

using kit::withCrc;

bool isQuery(const QByteArray& frame) {
    const int function = dx7::byteAt(frame, 1);
    return function == dx7::READ_EXCEPTION_STATUS || function == dx7::DIAGNOSTICS;
}

void append16(QByteArray& bytes, int word) {
    bytes.append(static_cast<char>(word >> 8));
    bytes.append(static_cast<char>(word & 0xFF));
}

}  // namespace

SimulatedLine::SimulatedLine(const Scenario& scenario, Trace trace)
    : scenario_(scenario), trace_(std::move(trace)), record_(scenario.stations) {
    int number = 0;
    for (const Fault& fault : scenario.faults) {
        faults_.push_back(Active{fault, Random(fault.seed), {}, 1});
        if (fault.kind == Fault::SecondMaster) {
            push(START_US + faults_.back().random.between(0, fault.a) * MS, Event::Master, QByteArray(),
                 Origin::Master, 0, number);
        }
        ++number;
    }
}

void SimulatedLine::push(qint64 atUs, Event::Kind kind, const QByteArray& frame, Origin origin,
                         qint64 askedUs, int fault, const QByteArray& shape) {
    Event event;
    event.atUs = atUs;
    event.order = ++order_;
    event.kind = kind;
    event.frame = frame;
    event.origin = origin;
    event.askedUs = askedUs;
    event.fault = fault;
    event.shape = shape;
    events_.push(event);
}

void SimulatedLine::trace(qint64 atUs, const char* what, const QByteArray& frame) const {
    if (trace_) {
        trace_(atUs, what, frame);
    }
}

// The host's side.

void SimulatedLine::send(const QByteArray& frame, bool query, qint64 nowUs) {
    trace(nowUs, query ? "> query" : "> request", frame);
    if (!query) {
        record_.noteSent(frame, nowUs);
    }
    if (!query && asked_.size() < 64) {
        asked_.push_back(frame);
    }
    sendFreeUs_ = std::max(sendFreeUs_, nowUs) + dx7::lineTimeUs(scenario_.settings, frame.size());
    const qint64 atUs = sendFreeUs_;
    for (Active& active : faults_) {
        if (active.fault.kind == Fault::Echo && active.random.chance(active.fault.percent)) {
            if (active.fault.percent < 100) {
                record_.noteInserted(shapeOf(frame), atUs);
                if (dx7::byteAt(frame, 1) == dx7::DIAGNOSTICS) {
                    record_.noteEchoedQuery(dx7::byteAt(frame, 0), atUs);
                }
            }
            deliver(frame, nowUs, "< echo");
            noteInsertion(active.fault.percent < 100);
        }
        if (active.fault.kind == Fault::SecondMaster) {
            if ((active.fault.b & Fault::JustBefore) != 0 && active.random.chance(30)) {
                askAsMaster(active, nowUs);
            }
            if ((active.fault.b & Fault::JustAfter) != 0 && active.random.chance(30)) {
                push(atUs + active.random.between(0, 30) * MS, Event::Master, QByteArray(), Origin::Master, 0,
                     -1);
            }
        }
        if (active.fault.kind == Fault::LeftOver && !query && active.left > 0) {
            --active.left;
            leaveOver(active, frame, nowUs);
        }
    }
    if (lose(frame, 0)) {
        trace(nowUs, "  (the request is lost)", frame);
        record_.noteLost(replyShape(frame), nowUs);
        return;
    }
    push(atUs, Event::Request, frame, Origin::Host, nowUs);
}

QByteArray SimulatedLine::run(qint64 nowUs) {
    arrived_.clear();
    while (!events_.empty() && events_.top().atUs <= nowUs) {
        const Event event = events_.top();
        events_.pop();
        happen(event);
    }
    return arrived_;
}

void SimulatedLine::happen(const Event& event) {
    switch (event.kind) {
        case Event::Request:
            onRequest(event);
            break;
        case Event::Work:
            onWork(event);
            break;
        case Event::Ready:
            onReady(event);
            break;
        case Event::Bytes:
            arrived_ += event.frame;
            break;
        case Event::Master:
            onMaster(event);
            break;
    }
}

// The stations.

// A sequential station takes a request when it has done with the one before; a pipelined one at once, and its
// replies keep their order.
void SimulatedLine::onRequest(const Event& event) {
    const int number = dx7::byteAt(event.frame, 0);
    if (number < 1 || number > scenario_.stations.size()) {
        return;
    }
    const StationKind& kind = scenario_.stations.at(number - 1);
    const int function = dx7::byteAt(event.frame, 1);
    if ((kind.ignores7 && function == dx7::READ_EXCEPTION_STATUS) ||
        (kind.ignores8 && function == dx7::DIAGNOSTICS)) {
        if (event.origin == Origin::Host) {
            record_.noteLost(replyShape(event.frame), event.atUs);
        }
        return;
    }
    qint64& busyUs = busyUntilUs_[number];
    const qint64 beginUs = kind.pipelined ? event.atUs : std::max(event.atUs, busyUs);
    // Frames keep their order on the line, those of several stations, too: a bus has one at a time, and a
    // gateway waits for the reply before it asks the next station.
    const qint64 endUs = std::max({beginUs + kind.workMs * MS + extraUs(beginUs), busyUs, lineUntilUs_});
    busyUs = lineUntilUs_ = endUs;
    push(beginUs, Event::Work, event.frame, event.origin, event.askedUs, static_cast<int>(endUs - beginUs));
}

void SimulatedLine::onWork(const Event& event) {
    push(event.atUs + event.fault, Event::Ready, answer(event.frame, event.atUs), event.origin, event.askedUs,
         0, replyShape(event.frame));
}

QByteArray SimulatedLine::refusal(const QByteArray& request, int code) const {
    QByteArray reply = request.left(1);
    reply.append(static_cast<char>(dx7::byteAt(request, 1) | dx7::EXCEPTION_BIT));
    reply.append(static_cast<char>(code));
    return withCrc(reply);
}

QByteArray SimulatedLine::readReply(const QByteArray& request) const {
    const int station = dx7::byteAt(request, 0);
    const int function = dx7::byteAt(request, 1);
    const int first = dx7::wordAt(request, 2);
    const int count = dx7::wordAt(request, 4);
    QByteArray reply = request.left(2);
    if (function >= 3) {
        reply.append(static_cast<char>(2 * count));
        for (int i = 0; i < count; ++i) {
            append16(reply, valueOf(station, function, first + i, record_.readings()));
        }
        return withCrc(reply);
    }
    QByteArray bits((count + 7) / 8, '\0');
    for (int i = 0; i < count; ++i) {
        if ((valueOf(station, function, first + i, record_.readings()) & 1) != 0) {
            bits[i / 8] = static_cast<char>(bits.at(i / 8) | 1 << (i % 8));
        }
    }
    reply.append(static_cast<char>(bits.size()));
    return withCrc(reply + bits);
}

QByteArray SimulatedLine::answer(const QByteArray& request, qint64 atUs) {
    const int station = dx7::byteAt(request, 0);
    const int function = dx7::byteAt(request, 1);
    record_.noteReading(atUs);
    const bool refused = scenario_.exceptions && !isQuery(request) &&
                         mixed(static_cast<std::uint64_t>(dx7::wordAt(request, 2)) + scenario_.seed) % 6 == 0;
    if (refused || (function == dx7::DIAGNOSTICS && scenario_.stations.at(station - 1).refuses8)) {
        return refusal(request, function == dx7::DIAGNOSTICS ? 1 : 2);
    }
    if (function >= 1 && function <= 4) {
        return readReply(request);
    }
    if (function == dx7::READ_EXCEPTION_STATUS) {
        QByteArray reply = request.left(2);
        reply.append(static_cast<char>(valueOf(station, function, 0, record_.readings()) & 0xFF));
        return withCrc(reply);
    }
    if (dx7::isWriteFunction(function)) {
        record_.noteExecution(request, atUs);
        return withCrc(request.left(6));
    }
    return function == dx7::DIAGNOSTICS ? request : refusal(request, 1);
}

qint64 SimulatedLine::extraUs(qint64 nowUs) {
    qint64 extra = 0;
    for (Active& active : faults_) {
        const Fault& fault = active.fault;
        if (fault.kind == Fault::Delay) {
            extra += fault.a * MS;
        } else if (fault.kind == Fault::GrowingDelay) {
            extra += fault.a * MS + (fault.b - fault.a) * MS * std::min(nowUs, scenario_.durationUs) /
                                        std::max<qint64>(scenario_.durationUs, 1);
        } else if (fault.kind == Fault::RandomDelay) {
            extra += active.random.between(0, fault.a) * MS;
        } else if (fault.kind == Fault::Stall && active.random.chance(fault.percent)) {
            extra += fault.a * MS;
        }
    }
    return extra;
}

// Faults.

bool SimulatedLine::lose(const QByteArray&, int direction) {
    bool lost = false;
    for (Active& active : faults_) {
        if (active.fault.kind == Fault::Loss && (active.fault.a == direction || active.fault.a == 2)) {
            lost = active.random.chance(active.fault.percent) || lost;
        }
    }
    return lost;
}

// What fewer than four bytes are left of leaves no trace.
QByteArray SimulatedLine::damage(const QByteArray& frame, bool* traceless) {
    QByteArray damaged = frame;
    for (Active& active : faults_) {
        if (active.fault.kind != Fault::Damage || damaged.isEmpty() ||
            !active.random.chance(active.fault.percent)) {
            continue;
        }
        Random& random = active.random;
        const int how = active.fault.a == 3 ? random.between(0, 2) : active.fault.a;
        if (how == 0) {
            const int bit = random.between(0, 8 * damaged.size() - 1);
            damaged[bit / 8] = static_cast<char>(damaged.at(bit / 8) ^ (1 << (bit % 8)));
        } else if (how == 1) {
            damaged = damaged.left(random.between(0, damaged.size() - 1));
            *traceless = *traceless || damaged.size() < dx7::SHORTEST_FRAME_BYTES;
        } else {
            const int count = random.between(1, 12);
            const int at = random.between(0, damaged.size());
            for (int i = 0; i < count; ++i) {
                damaged.insert(at, static_cast<char>(random.next()));
            }
        }
    }
    return damaged;
}

// Frames that wait for the next one to come. False when nothing is let through now.
bool SimulatedLine::pass(std::vector<Event>& replies, qint64 nowUs) {
    for (Active& active : faults_) {
        if (active.fault.kind != Fault::OneBehind) {
            continue;
        }
        if (nowUs >= active.fault.a * MS && nowUs < active.fault.b * MS) {
            active.waiting.insert(active.waiting.end(), replies.begin(), replies.end());
            replies.clear();
            if (active.waiting.size() > 1) {
                replies.push_back(active.waiting.front());
                active.waiting.erase(active.waiting.begin());
            }
        } else {
            replies.insert(replies.begin(), active.waiting.begin(), active.waiting.end());
            active.waiting.clear();
        }
    }
    return !replies.empty();
}

void SimulatedLine::onReady(const Event& event) {
    if (event.origin == Origin::Host && lose(event.frame, 1)) {
        trace(event.atUs, "  (the reply is lost)", event.frame);
        record_.noteLost(event.shape, event.atUs);
        return;
    }
    std::vector<Event> replies{event};
    if (!pass(replies, event.atUs)) {
        trace(event.atUs, "  (the reply waits)", event.frame);
    }
    for (const Event& reply : replies) {
        put(reply, event.atUs);
    }
}

// The reply goes on the line to the host.
void SimulatedLine::put(const Event& reply, qint64 nowUs) {
    const bool strange = reply.origin != Origin::Host || nowUs - reply.askedUs >= FORGOTTEN_US;
    bool traceless = false;
    const QByteArray damaged = damage(reply.frame, &traceless);
    if (traceless && reply.origin == Origin::Host) {
        record_.noteLost(reply.shape, nowUs);
    }
    deliver(damaged, nowUs, damaged != reply.frame ? "< damaged" : strange ? "< strange reply" : "< reply");
    if (strange) {
        record_.noteInserted(shapeOf(reply.frame), nowUs);
        record_.noteInserted(shapeOf(reply.frame), pipeFreeUs_);
    }
    noteInsertion(strange);
    for (Active& active : faults_) {
        if (active.fault.kind == Fault::Double && reply.askedUs >= 0 &&
            active.random.chance(active.fault.percent)) {
            push(nowUs + active.fault.a * MS, Event::Ready, reply.frame, Origin::Old, COPY);
        }
    }
}

// What was delivered last is none of the host's business, if `strange`.
void SimulatedLine::noteInsertion(bool strange) {
    if (strange) {
        record_.noteInsertion(pipeFreeUs_);
    }
}

// On the pipe to the host frames follow each other; over TCP each is there at once.
void SimulatedLine::deliver(const QByteArray& frame, qint64 nowUs, const char* what) {
    const qint64 beginUs = std::max(nowUs, pipeFreeUs_);
    const int step = scenario_.chunk == 0 ? frame.size() : scenario_.chunk;
    for (int at = 0; at < frame.size(); at += step) {
        const int end = std::min(at + step, frame.size());
        push(beginUs + dx7::lineTimeUs(scenario_.settings, end), Event::Bytes, frame.mid(at, end - at),
             Origin::Host);
    }
    pipeFreeUs_ = beginUs + dx7::lineTimeUs(scenario_.settings, frame.size());
    trace(pipeFreeUs_, what, frame);
}

// The second master.

void SimulatedLine::onMaster(const Event& event) {
    for (Active& active : faults_) {
        if (active.fault.kind != Fault::SecondMaster) {
            continue;
        }
        if (event.fault < 0 || &active == &faults_[static_cast<std::size_t>(event.fault)]) {
            // It waits while too much of what was asked is unanswered.
            if (lineUntilUs_ - event.atUs < 10000 * MS) {
                askAsMaster(active, event.atUs);
            }
            if (event.fault >= 0 && event.atUs < scenario_.durationUs + 60000 * MS) {
                push(event.atUs + active.random.between(active.fault.a / 2, active.fault.a * 2) * MS,
                     Event::Master, QByteArray(), Origin::Master, 0, event.fault);
            }
            return;
        }
    }
}

QByteArray SimulatedLine::strangeRequest(Active& active, int flags) {
    Random& random = active.random;
    QByteArray request = asked_[random.next() % asked_.size()];
    const int function = dx7::byteAt(request, 1);
    if ((flags & Fault::Queries) != 0 && random.chance(30)) {
        request = request.left(1);
        if (random.chance(50)) {
            return withCrc(request.append(char(dx7::READ_EXCEPTION_STATUS)));
        }
        request.append(char(dx7::DIAGNOSTICS));
        append16(request, 0);
        append16(request, static_cast<int>(0x8000 + (++masterCounter_ & 0xFF)));
        return withCrc(request);
    }
    request.chop(2);
    if (dx7::isWriteFunction(function)) {
        if ((flags & Fault::Writes) == 0) {
            return QByteArray();
        }
        if (function != 5) {
            request[request.size() - 1] =
                static_cast<char>(request.at(request.size() - 1) + 1 + random.between(0, 100));
        }
    } else if ((flags & Fault::SameItem) == 0 && request.size() > 3) {
        request[3] = static_cast<char>(request.at(3) + random.between(1, 5));
    }
    return withCrc(request);
}

void SimulatedLine::askAsMaster(Active& active, qint64 atUs) {
    if (asked_.empty()) {
        return;
    }
    const QByteArray request = strangeRequest(active, active.fault.b);
    if (request.isEmpty()) {
        return;
    }
    trace(atUs, "# the second master asks", request);
    if ((active.fault.b & Fault::Visible) != 0) {
        record_.noteInserted(shapeOf(request), atUs);
        if (isQuery(request)) {
            record_.noteFalseEcho();
        }
        deliver(request, atUs, "< its request");
        noteInsertion(true);
    }
    push(atUs + dx7::lineTimeUs(scenario_.settings, request.size()), Event::Request, request, Origin::Master,
         atUs);
}

// An earlier program asked for the same, or for another item, and its reply comes now, and then the answers
// to its queries. The station is busy with them.
void SimulatedLine::leaveOver(Active& active, const QByteArray& request, qint64 nowUs) {
    const int function = dx7::byteAt(request, 1);
    QByteArray old = request;
    old.chop(2);
    if ((active.fault.b & Fault::OfTheItem) == 0 && old.size() > 3 && !dx7::isWriteFunction(function)) {
        old[3] = static_cast<char>(old.at(3) + 1);
    }
    const QByteArray reply = dx7::isWriteFunction(function)           ? withCrc(old.left(6))
                             : function == dx7::READ_EXCEPTION_STATUS ? withCrc(old + QByteArray(1, '\x5A'))
                                                                      : readReply(withCrc(old));
    qint64 atUs = nowUs + active.fault.a * MS;
    push(atUs, Event::Ready, reply, Origin::Old, nowUs);
    const int station = dx7::byteAt(request, 0);
    const QByteArray code7 = withCrc(request.left(1) + char(dx7::READ_EXCEPTION_STATUS));
    const QByteArray code8 =
        withCrc(request.left(1) + char(dx7::DIAGNOSTICS) + QByteArray("\0\0\x12\x34", 4));
    const int follows[] = {Fault::Status, Fault::Diagnostic};
    for (const int flag : follows) {
        if ((active.fault.b & flag) != 0 && station >= 1 && station <= scenario_.stations.size()) {
            atUs += active.random.between(1, 300) * MS;
            push(atUs, Event::Ready, answer(flag == Fault::Status ? code7 : code8, atUs), Origin::Old, nowUs);
        }
    }
    busyUntilUs_[station] = lineUntilUs_ = std::max(lineUntilUs_, atUs);
}

}  // namespace truth
