#include "device/station/faults.h"

#include <modbus/modbus.h>

#include <charconv>

#include "common/modbus_limits.h"
#include "device/line/usage_error.h"
#include "device/station/notation.h"
#include "device/station/text.h"

namespace dx7sim {

namespace {

using dx7common::HIGHEST_STATION;
using dx7common::LOWEST_STATION;

// How a fault is written: its name and what follows it.
struct Form {
    const char* name;
    const char* value;
};

// In the order of Fault; what is no Fault of its own comes last.
constexpr std::array<Form, FAULT_KINDS + 1> FORMS = {{{"drop", "=SHARE"},
                                                      {"exception", "=SHARE"},
                                                      {"truncate", "=SHARE"},
                                                      {"corrupt", "=SHARE"},
                                                      {"foreign", "=SHARE"},
                                                      {"late", "=SHARE"},
                                                      {"duplicate", "=SHARE"},
                                                      {"second-master", "=SHARE"},
                                                      {"echo", "[=SHARE]"},
                                                      {"delay", "=MS"},
                                                      {"answer-before", ""},
                                                      {"silent", "=STATION"}}};

constexpr auto ECHO_KIND = static_cast<std::size_t>(Fault::Echo);
constexpr auto DELAY_KIND = static_cast<std::size_t>(Fault::Delay);
constexpr auto ANSWER_BEFORE_KIND = static_cast<std::size_t>(Fault::AnswerBefore);
constexpr std::size_t SILENT_KIND = FAULT_KINDS;

double parseShare(const std::string& name, const std::string& text) {
    double share = -1;
    const char* const end = text.data() + text.size();
    // Whatever the locale: a point, and no hexadecimal fraction.
    const auto result = std::from_chars(text.data(), end, share);
    // Written so that "not a number" is refused too.
    if (result.ec != std::errc() || result.ptr != end || !(share >= 0 && share <= 1)) {
        throw UsageError("\"" + text + "\" is not a valid share for the fault " + name +
                         ": write a number from 0 (never) to 1 (every request), as " + name + "=0.01");
    }
    return share;
}

Time parseDelay(const std::string& name, const std::string& text) {
    constexpr int LONGEST_DELAY_MS = 600000;
    int delay = -1;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, delay);
    if (result.ec != std::errc() || result.ptr != end || delay < 0 || delay > LONGEST_DELAY_MS) {
        throw UsageError("\"" + text + "\" is not a valid time for the fault " + name +
                         ": write a whole number of milliseconds from 0 (no delay) to " +
                         std::to_string(LONGEST_DELAY_MS) + ", as " + name + "=40");
    }
    return std::chrono::milliseconds(delay);
}

std::size_t kindNamed(const std::string& name) {
    for (std::size_t kind = 0; kind < FORMS.size(); ++kind) {
        if (name == FORMS[kind].name) {
            return kind;
        }
    }
    throw UsageError("\"" + name + "\" is not a known fault: use " + faultForms() + ", or none alone");
}

void parseFault(const std::string& text, FaultPlan& plan) {
    const std::size_t equals = text.find('=');
    const bool isAlone = equals == std::string::npos;
    const std::string name = trimmed(text.substr(0, equals));
    const std::string value = isAlone ? "" : trimmed(text.substr(equals + 1));
    const std::size_t kind = kindNamed(name);
    if (kind == SILENT_KIND) {
        plan.silent.insert(parseStation(value));
    } else if (kind == DELAY_KIND) {
        plan.delay = parseDelay(name, value);
    } else if (kind == ANSWER_BEFORE_KIND) {
        if (!isAlone) {
            throw UsageError("the fault " + name + " takes no value, not \"" + value + "\": write " + name +
                             " alone");
        }
        plan.answerBefore = true;
    } else {
        plan.share[kind] = kind == ECHO_KIND && isAlone ? 1 : parseShare(name, value);
    }
}

// Uniform in 0..1, without 1. The library's own distributions may differ between implementations.
double uniform(std::mt19937_64& random) {
    return static_cast<double>(random() >> 11) * (1.0 / 9007199254740992.0);
}

}  // namespace

std::string faultName(Fault fault) {
    return fault == Fault::None ? "none" : FORMS[static_cast<std::size_t>(fault)].name;
}

std::vector<std::string> faultWords() {
    std::vector<std::string> words;
    words.reserve(FORMS.size());
    for (const Form& form : FORMS) {
        words.push_back(form.name + std::string(*form.value == '=' ? "=" : ""));
    }
    return words;
}

std::string faultForms() {
    std::string text;
    for (const Form& form : FORMS) {
        text += (text.empty() ? "" : ", ") + std::string(form.name) + form.value;
    }
    return text;
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
    : plan_(plan), random_(seed), secondRandom_(~seed), echoRandom_(seed ^ 0x9E3779B97F4A7C15U) {}

FaultDecision FaultInjector::next() {
    FaultDecision decision;
    // Every decision draws equally often, so that changing one share leaves the other faults where they were.
    for (std::size_t kind = 0; kind < REPLY_FAULTS; ++kind) {
        const bool hit = uniform(kind < FIRST_STREAM_FAULTS ? random_ : secondRandom_) < plan_.share[kind];
        if (hit && decision.fault == Fault::None) {
            decision.fault = static_cast<Fault>(kind);
        }
    }
    decision.detail = random_();
    return decision;
}

bool FaultInjector::nextEcho() {
    return uniform(echoRandom_) < plan_.shareOf(Fault::Echo);
}

int faultExceptionCode(std::uint64_t detail) {
    return detail % 2 == 0 ? MODBUS_EXCEPTION_SLAVE_OR_SERVER_FAILURE : MODBUS_EXCEPTION_SLAVE_OR_SERVER_BUSY;
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
    if (detail % 2 == 0) {
        reply[0] = static_cast<std::uint8_t>(reply[0] >= HIGHEST_STATION ? LOWEST_STATION : reply[0] + 1);
    } else {
        reply[1] = reply[1] == MODBUS_FC_READ_HOLDING_REGISTERS ? MODBUS_FC_READ_INPUT_REGISTERS
                                                                : MODBUS_FC_READ_HOLDING_REGISTERS;
    }
    renewCrc(reply);
    return reply;
}

}  // namespace dx7sim
