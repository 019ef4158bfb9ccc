/// \file
/// Line faults to order, reproducible by a seed.
#ifndef DX7_DEVICE_FAULTS_H
#define DX7_DEVICE_FAULTS_H

#include <array>
#include <cstdint>
#include <random>
#include <set>
#include <string>

#include "crc16.h"

namespace dx7sim {

/// What can be done to the reply to a request, in the order in which it is decided. One request suffers one
/// at most.
enum class Fault {
    Drop,       ///< No reply is sent.
    Exception,  ///< The request is not carried out; an exception 4 (failure) or 6 (busy) answers it.
    Truncate,   ///< The end of the reply is missing.
    Corrupt,    ///< One bit of the reply is wrong.
    Foreign,  ///< A reply of another station or function code, as long as the right one and with a good CRC,
              ///< precedes it.
    Late,     ///< The reply is sent late.
    None
};

enum : std::size_t { FAULT_KINDS = static_cast<std::size_t>(Fault::None) };

/// The word of a fault in `--fault` and in the summary.
std::string faultName(Fault fault);

/// How often each fault is wanted.
struct FaultPlan {
    std::array<double, FAULT_KINDS> share{};  ///< Of the requests to be answered, 0..1.
    std::set<int> silent;                     ///< Stations that do not answer at all.
};

/// Adds "drop=0.01,late=0.1,silent=2" to `plan`; "none" adds nothing. Throws UsageError for anything else.
void parseFaults(const std::string& text, FaultPlan& plan);

/// A fault and what decides its details: which byte, which bit, which code.
struct FaultDecision {
    Fault fault = Fault::None;
    std::uint64_t detail = 0;
};

/// Decides the fault of each request. The n-th decision depends on the plan, the seed and n alone.
class FaultInjector {
public:
    FaultInjector(const FaultPlan& plan, std::uint64_t seed);
    FaultDecision next();
    /// The decisions from here on follow `plan`, as if it had been the plan from the start.
    void change(const FaultPlan& plan) { m_share = plan.share; }

private:
    std::array<double, FAULT_KINDS> m_share;
    std::mt19937_64 m_random;
};

/// The exception code to answer with.
int faultExceptionCode(std::uint64_t detail);
/// At least one byte of `reply`, at least one less than all. `reply` has at least 2 bytes.
Bytes truncated(Bytes reply, std::uint64_t detail);
/// `reply` with one bit inverted; not empty.
Bytes corrupted(Bytes reply, std::uint64_t detail);
/// `reply` as if of another station or another function code; at least 4 bytes.
Bytes foreign(Bytes reply, std::uint64_t detail);

}  // namespace dx7sim

#endif
