#include "host/cli/commands/parameter_exchange.h"
#include "host/cli/commands/params_options.h"
#include "host/cli/output.h"
#include "host/cli/output_files.h"
#include "host/error.h"
#include "host/files/parameter_labels.h"
#include "host/items/number_ranges.h"

namespace dx7::cli {

namespace {

// The fault is why nothing was saved; empty when everything was.
Json savedJson(const ParamsOptions& options, const ParameterSet& set, int refused, const QString& fault) {
    Json json = eventJson("saved");
    json["file"] = utf8(text(options.file));
    json["station"] = set.station;
    json["saved"] = fault.isEmpty() ? set.count() : 0;
    json["read"] = set.count();
    json["refused"] = refused;
    if (!fault.isEmpty()) {
        json["fault"] = utf8(fault);
    }
    return json;
}

// What there is to say when not everything was read: nothing of it is saved.
int endUnsaved(const ParamsOptions& options, const ParameterSet& set, int points, int refused,
               const QString& broken) {
    if (options.json) {
        tell(savedJson(options, set, refused, broken));
    }
    printError(QStringLiteral("%1; %2 of %3 were read, %4 was left as it was; run it again")
                   .arg(broken)
                   .arg(set.count())
                   .arg(counted(points - refused, "parameter"))
                   .arg(text(options.file)));
    return EXIT_FAILED;
}

// False when it could not be said on standard output.
bool tellSaved(const ParamsOptions& options, const ParameterSet& set, int refused, const QString& backup) {
    if (options.json) {
        Json json = savedJson(options, set, refused, QString());
        if (!backup.isEmpty()) {
            json["backup"] = utf8(backup);
        }
        return tell(json);
    }
    QString others;
    if (refused > 0) {
        others += QStringLiteral("; the station does not have %1 others").arg(refused);
    }
    if (!backup.isEmpty()) {
        others += QStringLiteral("; the one before is %1").arg(backup);
    }
    return tell(QStringLiteral("%1 of station %2 saved in %3%4")
                    .arg(counted(set.count(), "parameter"))
                    .arg(set.station)
                    .arg(text(options.file), others));
}

}  // namespace

int runSave(const ParamsOptions& options) {
    const Driver loaded(options);
    const LineSettings settings = lineSettings(options, loaded.parameter(), true);
    const ParameterLabels labels(loaded.tags(options));
    const Existing existing = options.force ? Existing::Keep : Existing::Refuse;
    ParameterSet set;
    set.station = stationOf(options, 1);
    const QVector<int> groups = numbersFromText(text(options.groups), "--groups", 0, 15);
    const QVector<Point> points = parameterPoints(loaded.notation, set.station, groups);
    checkWholeFile(text(options.file), existing);
    checkFilePath(loaded, settings, options);
    Connection connection(loaded, settings, options);
    int refused = 0;
    const QString broken = readPoints(connection, points, QStringLiteral("reading"),
                                      [&](const Point& point, std::optional<int> value, const QString&) {
                                          if (value) {
                                              set.values[point.type.name][point.address] = *value;
                                          } else {
                                              ++refused;
                                          }
                                      });
    if (!broken.isEmpty()) {
        return endUnsaved(options, set, points.size(), refused, broken);
    }
    if (set.count() == 0) {
        throw LineError(QStringLiteral("the station refused every parameter; %1 was left as it was")
                            .arg(text(options.file)));
    }
    const QString backup = saveParameters(text(options.file), loaded.notation, set, existing,
                                          [&](const QString& type, int address, int value) {
                                              Point point;
                                              point.type = loaded.notation.type(type);
                                              point.station = set.station;
                                              point.address = address;
                                              return labels.comment(point, value);
                                          });
    const bool told = tellSaved(options, set, refused, backup);
    connection.closeRecording();
    return told ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace dx7::cli
