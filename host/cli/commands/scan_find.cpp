#include "common/modbus_limits.h"
#include "host/cli/commands/scan_options.h"
#include "host/cli/listening.h"
#include "host/cli/output.h"
#include "host/cli/raw_line.h"
#include "host/cli/saved_file.h"
#include "host/cli/screen/progress.h"
#include "host/cli/stop_signal.h"
#include "host/error.h"
#include "host/exchange/likely_settings.h"
#include "host/exchange/rtu_frame.h"
#include "host/items/number_ranges.h"

namespace dx7::cli {

namespace {

constexpr int FIND_TIMEOUT_MS = 200;

// What one combination of settings came to.
struct Trial {
    LineSettings settings;
    qint64 beginUs = 0;
    qint64 endUs = 0;
    /// Those that answered.
    QVector<int> stations;
    /// What another master was heard to ask, as a sentence; empty where none was.
    QString master;
    /// Bytes outside of any frame that came before anything was sent.
    int strayBytes = 0;
    /// Stations in place of whose answer something damaged came.
    int damaged = 0;
    /// Nothing was sent, for something else speaks on the line.
    bool silent = false;
    /// Why the port does not take the settings; empty where it does.
    QString refusal;

    bool found() const { return !stations.isEmpty() || !master.isEmpty(); }
};

QString stationsText(const QVector<int>& stations) {
    QStringList numbers;
    for (const int station : stations) {
        numbers += QString::number(station);
    }
    return (stations.size() == 1 ? QStringLiteral("station %1 answers")
                                 : QStringLiteral("stations %1 answer"))
        .arg(numbers.join(QStringLiteral(", ")));
}

QString trialText(const Trial& trial) {
    if (!trial.refusal.isEmpty()) {
        return QStringLiteral("the port does not take it: ") + trial.refusal;
    }
    if (!trial.master.isEmpty()) {
        return trial.master;
    }
    QStringList said;
    if (!trial.stations.isEmpty()) {
        said += stationsText(trial.stations);
    }
    if (trial.damaged > 0) {
        said += QStringLiteral("damaged bytes came from %1 (a hint, no find)")
                    .arg(counted(trial.damaged, "station"));
    }
    if (trial.strayBytes > 0) {
        said += QStringLiteral("%1 without a valid CRC heard").arg(counted(trial.strayBytes, "byte"));
    }
    if (trial.silent) {
        said += QStringLiteral("nothing sent, for something speaks on this line (--anyway)");
    }
    return said.isEmpty() ? QStringLiteral("nothing") : said.join(QStringLiteral("; "));
}

// The station whose answer to a status query came; 0 without one. One that answers late is heard in the place
// of the next one.
int answeringStation(const RawEnd& end) {
    const bool frame = end.kind == RawEnd::Reply || end.kind == RawEnd::Foreign;
    const bool answer = frame && (byteAt(end.bytes, 1) & ~EXCEPTION_BIT) == READ_EXCEPTION_STATUS;
    return answer ? byteAt(end.bytes, 0) : 0;
}

QString secondsText(qint64 us) {
    return QStringLiteral("%1 s").arg(static_cast<double>(us) / 1e6, 0, 'f', 1);
}

QString optionsText(const LineSettings& settings) {
    return QStringLiteral("--serial %1 %2").arg(shellWord(settings.serialPort), formatOptions(settings));
}

// The search over all combinations.
class Search {
public:
    Search(const ScanOptions& options, const Driver& loaded, const LineSettings& settings,
           const QVector<int>& stations)
        : options_(options),
          stations_(stations),
          trials_(likelySettings(settings, {options.baud.has_value(), options.parity.has_value()})),
          line_(loaded, trials_.first(), options),
          progress_(trials_.size() * stations.size(), clock_) {}

    void run();
    const QVector<Trial>& finds() const { return finds_; }
    void closeRecording() { line_.closeRecording(); }
    void announce() const;
    bool tellSum();

private:
    void tryAt(int index);
    void ask(Trial& trial);
    void listenAt(Trial& trial);
    void report(int index, const Trial& trial);
    qint64 leftUs(int index) const;

    const ScanOptions& options_;
    QVector<int> stations_;
    QVector<LineSettings> trials_;
    SystemClock clock_;
    RawLine line_;
    Progress progress_;
    QVector<Trial> finds_;
    int tried_ = 0;
    bool stopped_ = false;
    /// Bytes were heard that nothing was sent for.
    bool busy_ = false;
};

// What those from `index` on take at most.
qint64 Search::leftUs(int index) const {
    qint64 sumUs = 0;
    for (int i = index; i < trials_.size(); ++i) {
        sumUs += searchTimeUs(trials_.at(i), stations_.size());
    }
    return sumUs;
}

void Search::announce() const {
    if (!options_.json) {
        print(QStringLiteral("%1 of baud rate and parity, %2 each: %3 at most")
                  .arg(counted(trials_.size(), "combination"), counted(stations_.size(), "station"),
                       secondsText(leftUs(0))));
    }
}

void Search::listenAt(Trial& trial) {
    const QVector<HeardPiece> heard = line_.hear();
    for (const HeardPiece& piece : heard) {
        trial.strayBytes += piece.kind == HeardPiece::Stray ? piece.bytes.size() : 0;
    }
    const QString master = heardText(heard);
    if (!master.isEmpty()) {
        trial.master = QStringLiteral("another master is on this line: ") + master;
    }
    busy_ = busy_ || !heard.isEmpty();
}

// Asks each station for its status.
void Search::ask(Trial& trial) {
    for (int i = 0; i < stations_.size(); ++i) {
        progress_.show(tried_ * stations_.size() + i, QStringLiteral("%1, station %2, %3 at most left")
                                                          .arg(formatName(trial.settings))
                                                          .arg(stations_.at(i))
                                                          .arg(secondsText(leftUs(tried_))));
        QByteArray query(1, static_cast<char>(stations_.at(i)));
        query.append(static_cast<char>(READ_EXCEPTION_STATUS));
        appendCrc(query);
        const std::optional<RawEnd> end = line_.exchange(query);
        if (!end) {
            stopped_ = true;
            return;
        }
        const int station = answeringStation(*end);
        if (stations_.mid(0, i + 1).contains(station) && !trial.stations.contains(station)) {
            trial.stations += station;
            if (options_.first) {
                return;
            }
        }
        trial.damaged += end->kind == RawEnd::Damaged ? 1 : 0;
        busy_ = busy_ || (end->kind == RawEnd::Foreign && !trial.stations.contains(station));
    }
}

void Search::tryAt(int index) {
    Trial trial;
    trial.settings = trials_.at(index);
    trial.beginUs = clock_.nowUs();
    try {
        if (index > 0) {
            line_.reopen(trial.settings);
        }
        listenAt(trial);
        trial.silent = busy_ && trial.master.isEmpty() && !options_.anyway;
        if (!trial.silent && trial.master.isEmpty() && !stopRequested()) {
            ask(trial);
        }
    } catch (const UsageError& error) {
        trial.refusal = error.text();
        stopped_ = !trial.refusal.contains(QLatin1String("its settings were refused"));
    }
    stopped_ = stopped_ || stopRequested();
    trial.endUs = clock_.nowUs();
    ++tried_;
    report(index, trial);
    if (trial.found()) {
        finds_ += trial;
    }
}

void Search::report(int index, const Trial& trial) {
    progress_.clear();
    const qint64 tookUs = trial.endUs - trial.beginUs;
    if (!options_.json) {
        print(QStringLiteral("%1/%2  %3  %4  %5  (%6 left at most)")
                  .arg(index + 1, 2)
                  .arg(trials_.size())
                  .arg(formatName(trial.settings), -10)
                  .arg(secondsText(tookUs), 6)
                  .arg(trialText(trial), secondsText(leftUs(index + 1))));
        return;
    }
    std::vector<Json> stations;
    for (const int station : trial.stations) {
        stations.emplace_back(station);
    }
    Json json = eventJson("settings");
    json["baud"] = trial.settings.baud;
    json["parity"] = utf8(parityText(trial.settings.parity));
    json["data_bits"] = trial.settings.dataBits;
    json["stop_bits"] = trial.settings.stopBits;
    json["stations"] = stations;
    json["master"] = trial.master.isEmpty() ? Json(nullptr) : Json(utf8(trial.master));
    json["sent"] = !trial.silent && trial.master.isEmpty() && trial.refusal.isEmpty();
    json["stray_bytes"] = trial.strayBytes;
    json["damaged"] = trial.damaged;
    json["seconds"] = static_cast<double>(tookUs) / 1e6;
    json["left_seconds"] = static_cast<double>(leftUs(index + 1)) / 1e6;
    json["options"] = trial.found() ? Json(utf8(optionsText(trial.settings))) : Json(nullptr);
    json["fault"] = trial.refusal.isEmpty() ? Json(nullptr) : Json(utf8(trial.refusal));
    print(json);
}

void Search::run() {
    for (int i = 0; i < trials_.size() && !stopped_; ++i) {
        tryAt(i);
        // A line has the settings of the master on it.
        const bool master = !finds_.isEmpty() && !finds_.last().master.isEmpty();
        if (master || (options_.first && !finds_.isEmpty())) {
            return;
        }
    }
}

// False when it could not be said on standard output.
bool Search::tellSum() {
    if (options_.json) {
        Json sum = summaryJson("scan --find");
        sum["tried"] = tried_;
        sum["found"] = finds_.size();
        sum["stopped"] = stopped_;
        return tell(sum);
    }
    bool told = true;
    for (const Trial& find : finds_) {
        told = tell(QStringLiteral("found: ") + optionsText(find.settings)) && told;
    }
    if (finds_.isEmpty()) {
        told = tell(QStringLiteral("nothing found%1%2")
                        .arg(QLatin1String(stopped_ ? " (stopped)" : ""),
                             QLatin1String(busy_ ? ", but something speaks on this line" : "")));
    }
    return told;
}

// The first find as a line file, the others in its comment.
void save(const ScanOptions& options, const QVector<Trial>& finds) {
    QStringList comment{
        QStringLiteral("Found by dx7 scan --find, %1:").arg(QString::fromStdString(isoTime()))};
    for (const Trial& find : finds) {
        comment += formatName(find.settings) + QStringLiteral(": ") + trialText(find);
    }
    const QByteArray content = lineFileText(finds.first().settings, comment.join(QLatin1Char('\n')));
    const QString before = saveFile(options, content, options.force);
    if (!options.json) {
        tell(QStringLiteral("%1 saved%2").arg(text(options.file), before));
    }
}

void checkFind(const LineSettings& settings) {
    if (settings.carrier != Carrier::Serial) {
        throw UsageError(QStringLiteral(
            "--find tries the settings of a serial port (--serial PORT); a TCP connection has none"));
    }
}

}  // namespace

int runFind(const ScanOptions& options) {
    const Driver loaded(options);
    LineSettings defaults;
    defaults.timeoutMs = FIND_TIMEOUT_MS;
    const LineSettings settings = lineSettings(options, loaded.parameter(), true, defaults);
    checkFind(settings);
    const QVector<int> stations =
        numbersFromText(text(options.stations.empty() ? "1-16" : options.stations), "--stations",
                        dx7common::LOWEST_STATION, dx7common::HIGHEST_STATION);
    checkSavedFile(loaded, settings, options, options.force);
    Search search(options, loaded, settings, stations);
    search.announce();
    search.run();
    const bool told = search.tellSum();
    if (!options.file.empty() && !search.finds().isEmpty()) {
        save(options, search.finds());
    }
    search.closeRecording();
    return told && !search.finds().isEmpty() ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace dx7::cli
