/// \file
/// Reading and writing many parameters of one station, up to where it is broken off.
#ifndef DX7_CLI_PARAMETER_EXCHANGE_H
#define DX7_CLI_PARAMETER_EXCHANGE_H

#include <optional>

#include "host/cli/connection.h"
#include "host/files/parameter_file.h"
#include "host/files/parameter_labels.h"

namespace dx7::cli {

/// Gets a point with its value, or none and the fault where the station refused to read it.
using EachPoint = std::function<void(const Point&, std::optional<int> value, const QString& fault)>;

/// Reads the points, several runs at once, and tells them in order once they are proven; a run that the
/// station refuses item by item, for it may have only some of them. Shows `what` with the progress. Gives the
/// reason, as a sentence, when it ends before the last point (breakReason(), a station that gives no good
/// answer, or the items that were not proven, by name), and the empty text when it does not.
QString readPoints(Connection& connection, const QVector<Point>& points, const QString& what,
                   const EachPoint& each);

/// The parameters of a file, in ascending order, with the names and formats of their tags.
QVector<Point> pointsOf(const ItemNotation& notation, const ParameterSet& set, const ParameterLabels& labels);

/// A parameter whose value on the device is not the one in the file, or not known to be.
struct Difference {
    Point point;
    int inFile = 0;
    /// Empty when it was not read.
    std::optional<int> onDevice;
    /// Why it was not read.
    QString fault;
};

/// A file compared with a station.
struct Comparison {
    /// What the station refuses is one, too.
    QVector<Difference> differences;
    /// Not compared, because it was broken off.
    QVector<Difference> unread;
    /// How many are as in the file.
    int right = 0;
    /// Why it was broken off; empty when it was not.
    QString broken;
};

/// `points`: those of the set.
Comparison compare(Connection& connection, const QVector<Point>& points, const ParameterSet& set);

/// What is known of a parameter after it was to be written.
enum class Written { Verified, Not, Unknown };

struct WriteEnd {
    Written state = Written::Not;
    /// Empty when it is verified.
    QString fault;
    /// The station took or refused the write.
    bool acknowledged = false;
    /// The station gave a value, or refused to.
    bool readBack = false;
};

/// Writes the file's value and reads it back, which counts: a value that is there is verified even if the
/// acknowledgement did not come.
WriteEnd writeAndVerify(Connection& connection, const Difference& difference);

/// Whether a station is worth going on with: each parameter that it does not answer costs its time-outs.
class AnswerWatch {
public:
    void take(const WriteEnd& end);
    /// Why not, as a sentence; empty when it is. Refusals, and values that do not take, are answers.
    QString failure(const Connection& connection, int station) const;

private:
    /// Parameters in a row that are not verified for lack of a valid answer.
    int unanswered_ = 0;
    /// Writes in a row, verified or not.
    int unacknowledged_ = 0;
};

}  // namespace dx7::cli

#endif
