#include "host/poll/line_cost.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "host/poll/wire_access.h"

namespace dx7 {

std::optional<double> IntervalCost::share() const {
    return intervalUs && lineUs
               ? std::optional<double>(static_cast<double>(*lineUs) / static_cast<double>(*intervalUs))
               : std::nullopt;
}

IntervalCost cycleCost(DriverSession& session, const ItemNotation& notation, const QVector<Point>& points,
                       const LineSettings& settings) {
    IntervalCost cost;
    cost.points = points.size();
    cost.lineUs = 0;
    for (const Point& point : points) {
        cost.items += point.items();
    }
    for (const PlannedBlock& block : explainPlan(session, notation, points, settings)) {
        ++cost.requests;
        cost.lineUs =
            block.lineUs && cost.lineUs ? std::optional<qint64>(*cost.lineUs + *block.lineUs) : std::nullopt;
    }
    // Without a plan the session answers single requests alone.
    session.merge({});
    return cost;
}

std::vector<IntervalCost> intervalCosts(DriverSession& session, const ItemNotation& notation,
                                        const QVector<Point>& points, const LineSettings& settings) {
    // Without an interval is the last.
    std::map<std::pair<bool, qint64>, QVector<Point>> groups;
    for (const Point& point : points) {
        groups[{!point.intervalUs.has_value(), point.intervalUs.value_or(0)}] += point;
    }
    std::vector<IntervalCost> costs;
    for (const auto& group : groups) {
        costs.push_back(cycleCost(session, notation, group.second, settings));
        costs.back().intervalUs = group.second.first().intervalUs;
    }
    return costs;
}

std::vector<SharedRegister> sharedRegisters(DriverSession& session, const QVector<Point>& points) {
    using Key = std::tuple<int, int, std::optional<int>>;
    std::map<Key, QVector<int>> readers;
    std::map<std::pair<QString, int>, std::optional<WireAccess>> known;
    for (int i = 0; i < points.size(); ++i) {
        const Point& point = points.at(i);
        for (int item = 0; item < point.items(); ++item) {
            const int address = point.address + item;
            const std::pair<QString, int> key{point.type.name, address};
            auto access = known.find(key);
            if (access == known.end()) {
                access = known.emplace(key, readAccess(session, point.type, address, 1)).first;
            }
            if (access->second) {
                QVector<int>& same =
                    readers[Key{point.station, access->second->function, access->second->reg}];
                if (!same.contains(i)) {
                    same += i;
                }
            }
        }
    }
    std::vector<SharedRegister> shared;
    for (const auto& reader : readers) {
        if (reader.second.size() > 1) {
            shared.push_back(SharedRegister{reader.second, std::get<0>(reader.first),
                                            std::get<1>(reader.first), std::get<2>(reader.first)});
        }
    }
    std::stable_sort(shared.begin(), shared.end(), [](const SharedRegister& a, const SharedRegister& b) {
        return a.points.first() < b.points.first();
    });
    return shared;
}

}  // namespace dx7
