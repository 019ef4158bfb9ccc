#include "host/exchange/status_queries.h"

#include "host/exchange/exchange.h"

namespace dx7 {

int StatusQueries::pending() const {
    return static_cast<int>(queue_.size()) + (waiting() && !probe_ ? 1 : 0);
}

bool StatusQueries::beginNext(Exchange& exchange, qint64 nowUs) {
    if (queue_.empty()) {
        return false;
    }
    probe_ = lost_ = false;
    const int station = queue_.front();
    queue_.pop_front();
    begin(station, exchange, nowUs);
    return true;
}

void StatusQueries::beginProbe(int station, Exchange& exchange, qint64 nowUs) {
    probe_ = true;
    begin(station, exchange, nowUs);
}

void StatusQueries::begin(int station, Exchange& exchange, qint64 nowUs) {
    station_ = station;
    answered_ = false;
    exchange.query(station, nowUs);
}

std::optional<int> StatusQueries::end() {
    const std::optional<int> silent = probe_ && !answered_ ? station_ : std::nullopt;
    station_.reset();
    return silent;
}

void StatusQueries::clear() {
    queue_.clear();
    station_.reset();
}

void StatusQueries::lineLost(bool awaiting) {
    lost_ = waiting() && !probe_ && awaiting;
    station_.reset();
}

}  // namespace dx7
