/// \file
/// What the host does inside the value-change callback, the same on both sides: it notes what it sees and, by
/// a pseudo-random script, calls back in.
#ifndef DX7_TESTS_MODEL_HOST_SCRIPT_H
#define DX7_TESTS_MODEL_HOST_SCRIPT_H

#include <cstdint>
#include <string>
#include <vector>

#include "model.h"

namespace differential {

/// Small pseudo-random numbers that depend on nothing but the seed and the position.
std::uint64_t scrambled(std::uint64_t seed, std::uint64_t position);

/// What may be called from inside the callback, on one of the two sides.
class HostView {
public:
    virtual ~HostView() = default;
    virtual void getData(int station, const model::Text& regType, int address, int count,
                         model::Byte* out) = 0;
    virtual void setData(int station, const model::Text& regType, int address, int count,
                         const model::Byte* data, int tag) = 0;
    virtual void addConditionRead(const model::KeyAddress& key, int tag) = 0;
    /// Numbers that tell the state at this moment, without changing it.
    virtual std::vector<std::int64_t> snapshot() const = 0;
};

/// One call of the callback and what the host saw in it.
struct Event {
    int linkId = 0;
    int station = 0;
    model::Text regType;
    int address = 0;
    std::vector<std::int64_t> state;
    std::vector<model::Byte> seen;
};

bool operator==(const Event& a, const Event& b);
std::string describe(const Event& event);

enum class ScriptMode { Listen, Ask, Meddle };

class HostScript {
public:
    explicit HostScript(HostView& view) : view_(view) {}

    /// Chooses what the following calls of the callback do.
    void choose(ScriptMode mode, int seed);
    /// Forgets the events of the operation before.
    void beginOperation();
    /// The callback.
    void onReport(int linkId, int station, model::Text& regType, int address);
    const std::vector<Event>& events() const { return events_; }

private:
    void act(std::uint64_t random, int station, model::Text& regType, int address, Event& event);

    HostView& view_;
    ScriptMode mode_ = ScriptMode::Listen;
    std::uint64_t seed_ = 0;
    int depth_ = 0;
    int actionsLeft_ = 0;
    std::uint64_t reports_ = 0;
    std::vector<Event> events_;
};

}  // namespace differential

#endif
