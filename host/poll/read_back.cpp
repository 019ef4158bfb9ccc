#include "host/poll/read_back.h"

namespace dx7 {

namespace {

constexpr qint64 WINDOW_US = 1000000;
constexpr qint64 PAUSE_US = 50000;

}  // namespace

ReadBackRule readBackRule(const Point& point, std::optional<bool> chosen) {
    if (point.station == 0) {
        return ReadBackRule::None;
    }
    if (const std::optional<bool> demanded = chosen ? chosen : point.verify) {
        return *demanded ? ReadBackRule::Demand : ReadBackRule::None;
    }
    return point.type.keepsWritten() ? ReadBackRule::Demand : ReadBackRule::Show;
}

void ReadBackWindow::answered(qint64 nowUs) {
    firstUs_ = firstUs_.value_or(nowUs);
    lastUs_ = nowUs;
}

DueUs ReadBackWindow::nextUs() const {
    const qint64 nextUs = lastUs_ + PAUSE_US;
    return mayBegin(nextUs) ? DueUs(nextUs) : DueUs();
}

bool ReadBackWindow::mayBegin(qint64 nowUs) const {
    return firstUs_ && nowUs <= *firstUs_ + WINDOW_US;
}

}  // namespace dx7
