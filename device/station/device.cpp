#include "device/station/device.h"

#include <iterator>
#include <utility>

#include "device/line/usage_error.h"
#include "device/station/second_master.h"

namespace dx7sim {

namespace {

// Between a reply that was not asked for and the right one: silence enough to tell two frames apart.
constexpr Time AFTER_FOREIGN = std::chrono::milliseconds(5);

// Of the replies to another master, one in so many follows the right one.
constexpr std::uint64_t ONE_AFTER_IN = 4;

// A TCP connection repairs damage, and has no other master and no echo on it.
void checkFaults(const FaultPlan& plan, Protocol protocol) {
    for (const Fault fault :
         {Fault::Truncate, Fault::Corrupt, Fault::Foreign, Fault::SecondMaster, Fault::Echo}) {
        if (protocol == Protocol::ModbusTcp && plan.shareOf(fault) > 0) {
            throw UsageError("the fault " + faultName(fault) +
                             " is one of serial lines, which a TCP connection does not have: use it with "
                             "--pty, --serial or --tcp");
        }
    }
}

std::vector<Outgoing> inOrder(const Bytes& reply, const Bytes& other, std::uint64_t detail) {
    const bool after = detail % ONE_AFTER_IN == 0;
    return after ? std::vector<Outgoing>{{reply, {}}, {other, AFTER_FOREIGN}}
                 : std::vector<Outgoing>{{other, {}}, {reply, AFTER_FOREIGN}};
}

}  // namespace

Device::Device(const std::vector<int>& stations, const FaultPlan& plan, std::uint64_t seed, Time lateBy,
               Movement movement, Time copyAfter, Protocol protocol)
    : engine_(protocol), faults_(plan, seed), lateBy_(lateBy), copyAfter_(copyAfter) {
    checkFaults(plan, protocol);
    for (const int number : stations) {
        stations_[number].model = Model(movement, number);
        statistics_.stations[number];
    }
    for (const int number : plan.silent) {
        setSilent(number, true);
    }
}

std::vector<Outgoing> Device::handle(const Bytes& frame, Time now) {
    std::vector<Outgoing> sent = echo(frame);
    std::vector<Outgoing> answered = replies(frame, now);
    std::move(answered.begin(), answered.end(), std::back_inserter(sent));
    return sent;
}

std::vector<Outgoing> Device::echo(const Bytes& frame) {
    if (!faults_.nextEcho()) {
        return {};
    }
    count(Fault::Echo);
    return echoesEveryByte() ? std::vector<Outgoing>() : std::vector<Outgoing>{{frame, {}, Way::Echo}};
}

std::vector<Outgoing> Device::replies(const Bytes& frame, Time now) {
    const Bytes body = bodyOf(frame, protocol());
    const int number = body[0];
    const int functionCode = body[1];
    if (number == MODBUS_BROADCAST_ADDRESS) {
        ++statistics_.broadcasts[functionCode];
        broadcast(frame, now);
        return {};
    }
    const auto station = stations_.find(number);
    if (station == stations_.end()) {
        ++statistics_.otherStations;
        return {};
    }
    StationStatistics& counts = statistics_.stations[number];
    ++counts.requests[functionCode];
    if (station->second.silent) {
        ++counts.unanswered;
        return {};
    }
    return answer(frame, station->second.model, counts, now);
}

void Device::broadcast(const Bytes& frame, Time now) {
    for (auto& entry : stations_) {
        if (!entry.second.silent) {
            engine_.answer(frame, entry.second.model, now);
        }
    }
}

std::vector<Outgoing> Device::answer(const Bytes& frame, Model& model, StationStatistics& counts, Time now) {
    const FaultDecision decision = faults_.next();
    count(decision.fault);
    Answer answer = decision.fault == Fault::Exception
                        ? Answer{true, engine_.exceptionReply(frame, faultExceptionCode(decision.detail)), 0}
                        : carryOut(frame, model, counts, now);
    if (!answer.accepted) {
        return {};
    }
    const Bytes own = answer.reply;
    if (faults_.plan().answerBefore) {
        count(Fault::AnswerBefore);
        std::swap(answer.reply, replyBefore_);
    }
    if (answer.reply.empty()) {
        return {};
    }
    std::vector<Outgoing> sent = damaged(answer.reply, decision);
    if (decision.fault == Fault::SecondMaster) {
        const Bytes other = replyToAnotherMaster(frame, own, model, now, decision.detail / ONE_AFTER_IN);
        sent = inOrder(answer.reply, other, decision.detail);
    }
    if (delay() > Time() && !sent.empty()) {
        count(Fault::Delay);
        sent.front().pause += delay();
    }
    return sent;
}

// Counts what is refused or answered with an exception.
Answer Device::carryOut(const Bytes& frame, Model& model, StationStatistics& counts, Time now) {
    Answer answer = engine_.answer(frame, model, now);
    if (!answer.accepted) {
        ++statistics_.refused;
    } else if (const int code = answer.exceptionCode()) {
        ++counts.exceptions[code];
    }
    return answer;
}

void Device::count(Fault fault) {
    if (fault != Fault::None) {
        ++statistics_.faults[static_cast<std::size_t>(fault)];
    }
}

std::vector<Outgoing> Device::damaged(const Bytes& reply, const FaultDecision& decision) const {
    switch (decision.fault) {
        case Fault::Drop:
            return {};
        case Fault::Truncate:
            return {{truncated(reply, decision.detail), {}}};
        case Fault::Corrupt:
            return {{corrupted(reply, decision.detail), {}}};
        case Fault::Foreign:
            return {{foreign(reply, decision.detail), {}}, {reply, AFTER_FOREIGN}};
        case Fault::Late:
            return {{reply, lateBy_}};
        case Fault::Duplicate:
            return doubled(reply);
        default:
            break;
    }
    return {{reply, {}}};
}

std::vector<Outgoing> Device::doubled(const Bytes& reply) const {
    return {{reply, {}}, {reply, copyAfter_, copyAfter_ > Time() ? Way::Copy : Way::InTurn}};
}

void Device::set(const Target& target, std::uint16_t value, Time now) {
    if (target.station) {
        requireStation(*target.station);
    }
    for (auto& [number, station] : stations_) {
        if (!target.station || *target.station == number) {
            station.model.set(target.item, value, now);
        }
    }
}

std::map<int, std::uint16_t> Device::values(const Target& target, Time now) const {
    if (target.station) {
        requireStation(*target.station);
    }
    std::map<int, std::uint16_t> found;
    for (const auto& [number, station] : stations_) {
        if (!target.station || *target.station == number) {
            found[number] = station.model.value(target.item, now);
        }
    }
    return found;
}

void Device::setSilent(int station, bool silent) {
    requireStation(station);
    stations_[station].silent = silent;
}

void Device::setFaults(const FaultPlan& plan) {
    checkFaults(plan, protocol());
    for (const int number : plan.silent) {
        requireStation(number);
    }
    faults_.change(plan);
    if (!plan.answerBefore) {
        replyBefore_.clear();
    }
    for (const int number : plan.silent) {
        setSilent(number, true);
    }
}

std::vector<int> Device::stations() const {
    std::vector<int> numbers;
    for (const auto& entry : stations_) {
        numbers.push_back(entry.first);
    }
    return numbers;
}

void Device::requireStation(int station) const {
    if (stations_.count(station) == 0) {
        std::string known;
        for (const int number : stations()) {
            known += (known.empty() ? "" : ", ") + std::to_string(number);
        }
        throw UsageError("station " + std::to_string(station) + " is not simulated: simulated are " + known);
    }
}

}  // namespace dx7sim
