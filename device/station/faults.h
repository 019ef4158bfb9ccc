/// \file
/// Line faults to order, reproducible by a seed.
#ifndef DX7_DEVICE_FAULTS_H
#define DX7_DEVICE_FAULTS_H

#include <array>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "device/line/device_time.h"
#include "device/line/frame.h"

namespace dx7sim {

/// What can be done to the reply to a request, in the order in which it is decided. One request suffers one
/// of those before Echo at most; the others are ways of the whole line and combine with everything.
enum class Fault {
    /// No reply is sent.
    Drop,
    /// The request is not carried out; an exception 4 (failure) or 6 (busy) answers it.
    Exception,
    /// The end of the reply is missing.
    Truncate,
    /// One bit of the reply is wrong.
    Corrupt,
    /// A reply of another station or function code, as long as the right one and with a good CRC, precedes
    /// it.
    Foreign,
    /// The reply is sent late.
    Late,
    /// The reply is sent twice.
    Duplicate,
    /// The station's reply to a request of another master precedes or follows the right one.
    SecondMaster,
    /// What arrives is sent back, as by an adapter that hears itself.
    Echo,
    /// Replies take their time, one after the other.
    Delay,
    /// A request gets the reply to the request before it.
    AnswerBefore,
    None
};

constexpr auto FAULT_KINDS = static_cast<std::size_t>(Fault::None);
/// The faults before this one: at most one of them for each request.
constexpr auto REPLY_FAULTS = static_cast<std::size_t>(Fault::Echo);
/// The faults before this one have a share.
constexpr auto FAULT_SHARES = static_cast<std::size_t>(Fault::Delay);
/// The faults before this one are decided by the first stream of random numbers: see FaultInjector.
constexpr auto FIRST_STREAM_FAULTS = static_cast<std::size_t>(Fault::Duplicate);

/// The word of a fault in `--fault` and in the summary.
std::string faultName(Fault fault);

/// Every fault as it begins, as "drop=", "answer-before".
std::vector<std::string> faultWords();
/// Every fault as it is written, as "drop=SHARE, delay=MS, echo[=SHARE]".
std::string faultForms();

/// How often each fault is made.
struct FaultPlan {
    /// 0..1, of the requests to be answered; of Echo, of all requests. Echo with 1 echoes every byte.
    std::array<double, FAULT_SHARES> share{};
    /// Stations that do not answer at all.
    std::set<int> silent;
    /// How long a request is worked at; 0 for no delay.
    Time delay{};
    /// The reply to the request before is sent.
    bool answerBefore = false;

    double shareOf(Fault fault) const { return share[static_cast<std::size_t>(fault)]; }
};

/// Adds "drop=0.01,late=0.1,silent=2,delay=40,echo" to `plan`; "none" adds nothing. Throws UsageError for
/// anything else.
void parseFaults(const std::string& text, FaultPlan& plan);

/// A fault and what decides its details: which byte, which bit, which code.
struct FaultDecision {
    Fault fault = Fault::None;
    std::uint64_t detail = 0;
};

/// Decides the fault of each request. One thread uses it. The n-th decision depends on the plan, the seed and
/// n alone, and so does whether the n-th request is echoed. The decisions on Drop to Late are those of a plan
/// without the other faults.
class FaultInjector {
public:
    FaultInjector(const FaultPlan& plan, std::uint64_t seed);
    /// Of the next request that is to be answered.
    FaultDecision next();
    /// Whether the next request, to be answered or not, is echoed.
    bool nextEcho();
    /// The decisions from here on follow `plan`, as if it had been the plan from the start.
    void change(const FaultPlan& plan) { plan_ = plan; }
    const FaultPlan& plan() const { return plan_; }

private:
    FaultPlan plan_;
    std::mt19937_64 random_;
    // Streams of their own: the share of a fault here does not change the decisions of the first stream.
    std::mt19937_64 secondRandom_;
    std::mt19937_64 echoRandom_;
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
