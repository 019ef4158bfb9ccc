/// \file
/// What lines over a descriptor have in common.
#ifndef DX7_HOST_DESCRIPTOR_LINE_H
#define DX7_HOST_DESCRIPTOR_LINE_H

#include "host/line/line.h"
#include "host/line/send_queue.h"

namespace dx7 {

/// Bytes go through the descriptor itself: without an event loop that is exact to the microsecond and costs a
/// fraction of the processor time. A derived class owns, opens and closes it. Used
/// from one thread, as every Line.
class DescriptorLine : public Line {
public:
    bool open() override;
    bool isOpen() const override { return descriptor() >= 0; }
    bool tookBytes() const override { return queue_.tookBytes(); }
    bool receive(QByteArray* bytes) override;
    bool send(const QByteArray& bytes) override;
    bool flush(qint64 nowUs) override;
    bool sending() const override { return queue_.sending(); }
    QString failure() const override { return failure_; }

protected:
    explicit DescriptorLine(Channel channel) : channel_(channel) {}

    /// Waits up to `ms` for the end of what makes reopen() say UnderWay.
    virtual void awaitOpening(int ms) = 0;
    void dropUnsent() { queue_.drop(); }

    QString failure_;

private:
    bool lose(const QString& why);

    Channel channel_;
    SendQueue queue_;
};

}  // namespace dx7

#endif
