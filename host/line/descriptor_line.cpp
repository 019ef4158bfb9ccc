#include "host/line/descriptor_line.h"

#include "host/line/descriptor_io.h"

namespace dx7 {

namespace {

constexpr int STOP_LOOK_MS = 20;

}  // namespace

bool DescriptorLine::open() {
    close();
    Opening opening = reopen();
    while (opening == Opening::UnderWay && !stopRequested()) {
        awaitOpening(STOP_LOOK_MS);
        opening = reopen();
    }
    if (opening == Opening::Open) {
        return true;
    }
    if (opening == Opening::UnderWay) {
        close();
        failure_ = QStringLiteral("the program was stopped before that was done");
    }
    return false;
}

bool DescriptorLine::lose(const QString& why) {
    failure_ = why;
    close();
    return false;
}

bool DescriptorLine::receive(QByteArray* bytes) {
    if (!isOpen()) {
        return false;
    }
    const std::optional<QString> loss = takeArrived(descriptor(), bytes);
    return !loss || lose(*loss);
}

bool DescriptorLine::send(const QByteArray& bytes) {
    if (!isOpen()) {
        queue_.noteTaken(false);
        return false;
    }
    return queue_.send(descriptor(), channel_, bytes) || lose(queue_.failure());
}

bool DescriptorLine::flush(qint64 nowUs) {
    return isOpen() && (queue_.flush(descriptor(), channel_, nowUs) || lose(queue_.failure()));
}

}  // namespace dx7
