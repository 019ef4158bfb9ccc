#include "scenario.h"

#include <QStringList>
#include <algorithm>
#include <iterator>

#include "random.h"

namespace truth {

namespace {

const qint64 SECOND_US = 1000000;

template <typename T, std::size_t N>
T oneOf(Random& random, const T (&of)[N]) {
    return of[random.next() % N];
}

struct TypeSpan {
    const char* name;
    int lowest;
    int highest;
};

// F comes often, for its words tell most. The second group of F is for writes.
const TypeSpan TYPES[] = {{"F", 0, 9},   {"F", 10, 19},     {"F", 56, 65}, {"F", 0, 5},
                          {"D", 0, 9},   {"AI", 0, 3},      {"DI", 1, 6},  {"SDO", 1, 8},
                          {"FAS", 0, 0}, {"SW_bit", 0, 15}, {"SW", 0, 0}};

Item item(int station, const char* type, int address) {
    return Item{station, QString::fromLatin1(type), address};
}

void addItems(Scenario& scenario, Random& random) {
    const int wanted = random.between(1, 12);
    const int blocks = random.between(1, 8);
    for (int block = 0; block < blocks && scenario.items.size() < wanted; ++block) {
        const TypeSpan& span = TYPES[random.next() % std::size(TYPES)];
        const int station = random.between(1, scenario.stations.size());
        const int first = random.between(span.lowest, span.highest);
        const int count = random.between(1, 3);
        for (int i = 0; i < count && first + i <= span.highest; ++i) {
            const Item next = item(station, span.name, first + i);
            const bool known =
                std::any_of(scenario.items.begin(), scenario.items.end(), [&](const Item& other) {
                    return other.station == next.station && other.type == next.type &&
                           other.address == next.address;
                });
            if (!known) {
                scenario.items += next;
            }
        }
    }
}

void addStations(Scenario& scenario, Random& random) {
    const int count = random.chance(50) ? 1 : random.between(2, 4);
    for (int i = 0; i < count; ++i) {
        StationKind kind;
        kind.ignores8 = random.chance(20);
        kind.ignores7 = random.chance(12);
        kind.refuses8 = random.chance(25);
        kind.pipelined = random.chance(40);
        const int works[] = {1, 2, 5, 20, 60, 200};
        kind.workMs = oneOf(random, works);
        scenario.stations += kind;
    }
}

Fault randomFault(Random& random) {
    Fault fault;
    fault.kind = static_cast<Fault::Kind>(random.between(Fault::Delay, Fault::Stall));
    fault.seed = random.next();
    const int lags[] = {0, 5, 50, 300, 900};
    const int shares[] = {1, 5, 20, 50, 100};
    switch (fault.kind) {
        case Fault::Delay:
            fault.a = random.between(10, 3000);
            break;
        case Fault::GrowingDelay:
            fault.a = random.between(0, 300);
            fault.b = random.between(500, 3000);
            break;
        case Fault::RandomDelay:
            fault.a = random.between(50, 3000);
            break;
        case Fault::Double:
            fault.a = oneOf(random, lags);
            fault.percent = oneOf(random, shares);
            break;
        case Fault::OneBehind:
            fault.a = random.between(0, 5000);
            fault.b = random.chance(50) ? fault.a + random.between(100, 8000) : 1000000;
            break;
        case Fault::SecondMaster:
            fault.a = random.between(30, 2500);
            fault.b = random.between(0, 63);
            break;
        case Fault::Echo:
            fault.percent = random.chance(60) ? 100 : oneOf(random, shares);
            break;
        case Fault::Loss:
            fault.percent = random.chance(60) ? random.between(1, 10) : random.between(10, 50);
            fault.a = random.between(0, 2);
            break;
        case Fault::Damage:
            fault.percent = random.chance(60) ? random.between(1, 10) : random.between(10, 50);
            fault.a = random.between(0, 3);
            break;
        case Fault::LeftOver:
            fault.a = random.between(0, 600);
            fault.b = random.between(0, 7);
            break;
        case Fault::Stall:
            fault.a = random.between(50, 3000);
            fault.percent = oneOf(random, shares);
            break;
    }
    return fault;
}

void chooseLine(Scenario& scenario, Random& random) {
    dx7::LineSettings& settings = scenario.settings;
    settings.carrier = random.chance(40) ? dx7::Carrier::Tcp : dx7::Carrier::Serial;
    const int bauds[] = {1200, 2400, 9600, 9600, 19200, 115200};
    settings.baud = oneOf(random, bauds);
    settings.block = random.chance(30) ? random.between(1, 4) : 64;
    if (random.chance(15)) {
        settings.retries = random.between(1, 4);
        settings.timeoutMs = random.between(100, 1000);
    }
    if (random.chance(15)) {
        settings.echo = dx7::EchoMode::Off;
    }
    const int chunks[] = {0, 0, 1, 3, 8};
    scenario.chunk = oneOf(random, chunks);
}

Scenario plainScenario(const QString& name) {
    Scenario scenario;
    scenario.name = name;
    scenario.mustLive = true;
    scenario.durationUs = 30 * SECOND_US;
    scenario.settings.carrier = dx7::Carrier::Serial;
    scenario.settings.baud = 19200;
    scenario.stations = {StationKind()};
    scenario.items = {item(1, "F", 0), item(1, "F", 1), item(1, "F", 12), item(1, "AI", 2),
                      item(1, "SDO", 3)};
    return scenario;
}

Fault faultOf(Fault::Kind kind, int a, int percent) {
    Fault fault;
    fault.kind = kind;
    fault.a = a;
    fault.percent = percent;
    fault.seed = 77;
    return fault;
}

QVector<Scenario> allSurvivable() {
    QVector<Scenario> all;
    const auto add = [&](const QString& name, const QVector<Fault>& faults) {
        Scenario scenario = plainScenario(name);
        scenario.faults = faults;
        all += scenario;
        scenario.name += QStringLiteral(", TCP");
        scenario.settings.carrier = dx7::Carrier::Tcp;
        all += scenario;
        scenario.name += QStringLiteral(", two stations");
        scenario.stations += StationKind();
        scenario.items += item(2, "F", 4);
        scenario.items += item(2, "D", 7);
        all += scenario;
        // Where a station answers code 7 alone and that answer is lost, it takes 10 s until another may be
        // asked for: on a line that floods it, the next is lost by then.
        const bool harmful =
            !faults.isEmpty() && (faults.first().kind == Fault::Loss || faults.first().kind == Fault::Damage);
        if (harmful) {
            return;
        }
        scenario.name += QStringLiteral(", no diagnostics");
        // Where the answer to code 7 is missing it takes long until another may be asked for.
        scenario.stations[0].ignores8 = scenario.stations[1].ignores8 = true;
        scenario.lifeUs = 25 * SECOND_US;
        all += scenario;
    };
    add(QStringLiteral("plain"), {});
    for (const int ms : {550, 650, 800}) {
        add(QStringLiteral("%1 ms").arg(ms), {faultOf(Fault::Delay, ms, 100)});
    }
    for (const int ms : {0, 5, 20, 50}) {
        add(QStringLiteral("doubled after %1 ms").arg(ms), {faultOf(Fault::Double, ms, 100)});
    }
    add(QStringLiteral("2 % loss"), {faultOf(Fault::Loss, 2, 2)});
    add(QStringLiteral("1 % damage"), {faultOf(Fault::Damage, 3, 1)});
    add(QStringLiteral("echo"), {faultOf(Fault::Echo, 0, 100)});
    for (int i = 0; i < all.size(); ++i) {
        all[i].seed = static_cast<std::uint64_t>(i);
    }
    return all;
}

const char* const KIND_NAMES[] = {"delay",      "growing delay", "random delay", "doubled",
                                  "one behind", "second master", "echo",         "loss",
                                  "damage",     "left over",     "stall"};

}  // namespace

Scenario scenarioOf(std::uint64_t seed) {
    Random random(seed);
    Scenario scenario;
    scenario.seed = seed;
    scenario.name = QStringLiteral("seed %1").arg(seed);
    chooseLine(scenario, random);
    addStations(scenario, random);
    addItems(scenario, random);
    const int faults = random.between(0, 9);
    for (int i = 0; i < (faults == 0 ? 0 : faults < 5 ? 1 : faults < 9 ? 2 : 3); ++i) {
        const Fault fault = randomFault(random);
        const bool echoed = std::any_of(scenario.faults.begin(), scenario.faults.end(),
                                        [](const Fault& other) { return other.kind == Fault::Echo; });
        // No adapter sends back twice what is sent.
        if (fault.kind != Fault::Echo || !echoed) {
            scenario.faults += fault;
        }
    }
    // Who says whether the adapter echoes must be right.
    for (const Fault& fault : scenario.faults) {
        if (fault.kind == Fault::Echo) {
            scenario.settings.echo =
                fault.percent == 100 && random.chance(20) ? dx7::EchoMode::On : dx7::EchoMode::Auto;
        }
    }
    scenario.watch = random.chance(75);
    scenario.exceptions = random.chance(25);
    scenario.reads = scenario.watch && random.chance(70) ? 0 : random.between(1, 3);
    scenario.writes = random.chance(50) ? 0 : random.between(1, 8);
    scenario.durationUs = random.between(3, 25) * SECOND_US;
    return scenario;
}

int survivableCount() {
    return allSurvivable().size();
}

Scenario survivable(int index) {
    return allSurvivable().at(index);
}

QVector<Scenario> simpler(const Scenario& scenario) {
    QVector<Scenario> all;
    const auto with = [&](const auto& change) {
        Scenario next = scenario;
        change(next);
        all += next;
    };
    for (int i = 0; i < scenario.faults.size(); ++i) {
        with([i](Scenario& next) { next.faults.remove(i); });
    }
    if (scenario.durationUs > SECOND_US) {
        with([](Scenario& next) { next.durationUs /= 2; });
        with([](Scenario& next) { next.durationUs = next.durationUs * 9 / 10; });
    }
    for (int i = 0; i < scenario.items.size() && scenario.items.size() > 1; ++i) {
        with([i](Scenario& next) { next.items.remove(i); });
    }
    if (scenario.writes > 0) {
        with([](Scenario& next) { --next.writes; });
    }
    if (scenario.reads > (scenario.watch ? 0 : 1)) {
        with([](Scenario& next) { --next.reads; });
    }
    if (scenario.exceptions) {
        with([](Scenario& next) { next.exceptions = false; });
    }
    if (scenario.chunk != 0) {
        with([](Scenario& next) { next.chunk = 0; });
    }
    if (scenario.settings.carrier != dx7::Carrier::Tcp) {
        with([](Scenario& next) { next.settings.carrier = dx7::Carrier::Tcp; });
    }
    for (int i = 0; i < scenario.stations.size(); ++i) {
        if (scenario.stations.at(i).workMs > 5) {
            with([i](Scenario& next) { next.stations[i].workMs = 5; });
        }
    }
    return all;
}

QString faultText(const Fault& fault) {
    return QStringLiteral("%1(%2, %3, %4 %)")
        .arg(QLatin1String(KIND_NAMES[fault.kind]))
        .arg(fault.a)
        .arg(fault.b)
        .arg(fault.percent);
}

QString scenarioText(const Scenario& scenario) {
    QStringList items;
    for (const Item& one : scenario.items) {
        items += QStringLiteral("%1:%2@%3").arg(one.type).arg(one.address).arg(one.station);
    }
    QStringList stations;
    for (const StationKind& kind : scenario.stations) {
        stations += QStringLiteral("%1 ms%2%3%4%5")
                        .arg(kind.workMs)
                        .arg(QLatin1String(kind.pipelined ? " pipelined" : ""),
                             QLatin1String(kind.ignores7 ? " ignores 7" : ""),
                             QLatin1String(kind.ignores8 ? " ignores 8" : ""),
                             QLatin1String(kind.refuses8 ? " refuses 8" : ""));
    }
    QStringList faults;
    for (const Fault& fault : scenario.faults) {
        faults += faultText(fault);
    }
    const char* const echoes[] = {"auto", "on", "off"};
    return QStringLiteral(
               "%1: %2, time-out %3 ms x %4, block %5, echo %6, chunk %7%8, %9 s\n  stations: %10\n")
               .arg(scenario.name, scenario.settings.carrier == dx7::Carrier::Tcp
                                       ? QStringLiteral("TCP")
                                       : QStringLiteral("%1 baud").arg(scenario.settings.baud))
               .arg(scenario.settings.timeoutMs)
               .arg(scenario.settings.retries)
               .arg(scenario.settings.block)
               .arg(QLatin1String(echoes[static_cast<int>(scenario.settings.echo)]))
               .arg(scenario.chunk)
               .arg(QLatin1String(scenario.exceptions ? ", refusals" : ""))
               .arg(static_cast<double>(scenario.durationUs) / 1e6)
               .arg(stations.join(QStringLiteral("; "))) +
           QStringLiteral("  items: %1%2, %3 one-shot reads, %4 writes\n  faults: %5\n")
               .arg(items.join(QLatin1Char(' ')), QLatin1String(scenario.watch ? " (watched)" : ""))
               .arg(scenario.reads)
               .arg(scenario.writes)
               .arg(faults.isEmpty() ? QStringLiteral("none") : faults.join(QStringLiteral(", ")));
}

}  // namespace truth
