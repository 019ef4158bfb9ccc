#include "faults.h"

#include <charconv>

#include "notation.h"
#include "usage_error.h"

namespace dx7sim {

namespace {

constexpr std::array<const char*, FAULT_KINDS> NAMES = {"drop",    "exception", "truncate",
                                                        "corrupt", "foreign",   "late"};

double parseShare(const std::string& name, const std::string& text) {
    double share = -1;
    const char* const end = text.data() + text.size();
    // Whatever the locale: a point, and no hexadecimal fraction.
    const auto result = std::from_chars(text.data(), end, share);
    // Written so that "not a number" is refused too.
    if (result.ec != std::errc() || result.ptr != end || !(share >= 0 && share <= 1)) {
        throw UsageError("\"" + text + "\" is no share for the fault " + name +
                         ": write a number from 0 (never) to 1 (every reply), as " + name + "=0.01");
    }
    return share;
}

void parseFault(const std::string& text, FaultPlan& plan) {
    const std::size_t equals = text.find('=');
    const std::string name = trimmed(text.substr(0, equals));
    const std::string value = equals == std::string::npos ? "" : trimmed(text.substr(equals + 1));
    if (name == "silent") {
        plan.silent.insert(parseStation(value));
        return;
    }
    for (std::size_t kind = 0; kind < FAULT_KINDS; ++kind) {
        if (name == NAMES[kind]) {
            plan.share[kind] = parseShare(name, value);
            return;
        }
    }
    throw UsageError("\"" + name +
                     "\" is no fault: use drop, exception, truncate, corrupt, foreign, late (each with" +
                     " =SHARE), silent=STATION, or none alone");
}

/// Uniform in 0..1, without 1. The library's own distributions may differ between implementations.
double uniform(std::mt19937_64& random) {
    return static_cast<double>(random() >> 11) * (1.0 / 9007199254740992.0);
}

}  // namespace

std::string faultName(Fault fault) {
    if (fault == Fault::None) {
        return "none";
    }
    return NAMES[static_cast<std::size_t>(fault)];
}

void parseFaults(const std::string& text, FaultPlan& plan) {
    if (trimmed(text) == "none") {
        return;
    }
    for (const std::string& part : split(text, ',')) {
        parseFault(part, plan);
    }
}

FaultInjector::FaultInjector(const FaultPlan& plan, std::uint64_t seed)
    : m_share(plan.share), m_random(seed) {}

FaultDecision FaultInjector::next() {
    FaultDecision decision;
    // Every decision draws equally often, so that changing one share leaves the other faults where they were.
    for (std::size_t kind = 0; kind < FAULT_KINDS; ++kind) {
        const bool hit = uniform(m_random) < m_share[kind];
        if (hit && decision.fault == Fault::None) {
            decision.fault = static_cast<Fault>(kind);
        }
    }
    decision.detail = m_random();
    return decision;
}

int faultExceptionCode(std::uint64_t detail) {
    enum : int { DEVICE_FAILURE = 4, DEVICE_BUSY = 6 };
    return detail % 2 == 0 ? DEVICE_FAILURE : DEVICE_BUSY;
}

Bytes truncated(Bytes reply, std::uint64_t detail) {
    reply.resize(1 + static_cast<std::size_t>(detail % (reply.size() - 1)));
    return reply;
}

Bytes corrupted(Bytes reply, std::uint64_t detail) {
    const auto bit = static_cast<std::size_t>(detail % (reply.size() * 8));
    reply[bit / 8] = static_cast<std::uint8_t>(reply[bit / 8] ^ 1U << bit % 8);
    return reply;
}

Bytes foreign(Bytes reply, std::uint64_t detail) {
    enum : std::uint8_t { READ_HOLDING = 3, READ_INPUT = 4 };
    if (detail % 2 == 0) {
        reply[0] = static_cast<std::uint8_t>(reply[0] >= HIGHEST_STATION ? LOWEST_STATION : reply[0] + 1);
    } else {
        reply[1] = reply[1] == READ_HOLDING ? READ_INPUT : READ_HOLDING;
    }
    renewCrc(reply);
    return reply;
}

}  // namespace dx7sim
