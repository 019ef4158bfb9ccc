#include "rig.h"

#include <gtest/gtest.h>

#include "loaded_driver.h"

using namespace dx7;

namespace {

enum { MOST_TURNS_AT_ONCE = 1000 };
const qint64 TURN_US = 50000;
const qint64 LONGEST_STEP_US = 200000000;

}  // namespace

LineSettings serialSettings() {
    LineSettings settings;
    settings.carrier = Carrier::Serial;
    settings.timeoutMs = 300;
    return settings;
}

LoopRig::LoopRig(const LineSettings& lineSettings)
    : settings(lineSettings),
      line(clock),
      poller(clock),
      session(driverFunctions(), propertyText(settings, 1)),
      loop(session, settings) {
    CommLoop::Observers observers;
    observers.transaction = [this](const Transaction& transaction) { seen += transaction; };
    observers.note = [this](const ExchangeNote& note) { notes.push_back(note); };
    loop.setObservers(std::move(observers));
    poller.add(line);
}

void LoopRig::turn(qint64 untilUs) {
    Exchange& exchange = loop.exchange();
    const bool wasIdle = exchange.idle();
    loop.advance(clock.nowUs());
    if (exchange.idle() && !wasIdle) {
        return;
    }
    const bool sent = exchange.output().isEmpty() || line.send(exchange.output());
    if (!sent && !line.tookBytes()) {
        exchange.notSent();
    }
    exchange.outputTaken();
    if (!sent) {
        loop.lineLost();
        return;
    }
    line.expect(exchange.missing());
    const DueUs dueUs = loop.ready(clock.nowUs()) ? exchange.nextDueUs() : loop.nextDueUs();
    poller.wait(std::min(dueUs.value_or(untilUs), untilUs));
    QByteArray bytes;
    if (!line.receive(&bytes)) {
        loop.lineLost();
    } else {
        loop.received(bytes.constData(), bytes.size(), clock.nowUs());
    }
}

void LoopRig::runFor(qint64 durationUs) {
    for (const qint64 endUs = clock.nowUs() + durationUs; clock.nowUs() < endUs && line.isOpen();) {
        turn(endUs);
    }
}

bool LoopRig::begin() {
    const qint64 limitUs = clock.nowUs() + LONGEST_STEP_US;
    while (!loop.ready(clock.nowUs()) && clock.nowUs() < limitUs) {
        turn(limitUs);
    }
    return loop.begin(clock.nowUs());
}

bool LoopRig::step() {
    if (!begin()) {
        return false;
    }
    const qint64 limitUs = clock.nowUs() + LONGEST_STEP_US;
    while (!loop.exchange().idle() && clock.nowUs() < limitUs && line.isOpen()) {
        turn(limitUs);
    }
    EXPECT_TRUE(loop.exchange().idle()) << "the request has no end";
    return line.isOpen();
}

Rig::Rig(const LineSettings& lineSettings)
    : settings(lineSettings),
      line(clock),
      poller(clock),
      session(driverFunctions(), propertyText(settings, 1)),
      loop(session, settings),
      engine(session, loop, settings, clock.nowUs()),
      runner(engine, line, poller) {}

void Rig::watch(const char* items) {
    engine.watch(notation().points(QString::fromLatin1(items).split(QLatin1Char(' '), Qt::SkipEmptyParts)),
                 clock.nowUs());
}

void Rig::write(const char* text, const std::function<void(const Transaction&)>& done) {
    engine.write(notation().write(QString::fromLatin1(text)), done);
}

bool Rig::runUntil(const std::function<bool()>& reached, qint64 limitUs) {
    const qint64 endUs = clock.nowUs() + limitUs;
    int turns = 0;
    while (!reached()) {
        const qint64 beforeUs = clock.nowUs();
        if (beforeUs >= endUs) {
            return false;
        }
        runner.turn(std::min(beforeUs + TURN_US, endUs));
        turns = clock.nowUs() > beforeUs ? 0 : turns + 1;
        if (turns > MOST_TURNS_AT_ONCE) {
            ADD_FAILURE() << "the line runs without any time passing";
            return false;
        }
    }
    return true;
}

bool Rig::conclude() {
    engine.conclude();
    return runUntil([this] { return engine.concluded(); });
}

void answer(ScriptedLine& line, const LineSettings& settings, ScriptedDevice& device,
            const QByteArray& request) {
    const QByteArray reply = device.answer(request);
    line.arriveInTurn(reply, lineTimeUs(settings, request.size() + reply.size()) + 2000);
}
