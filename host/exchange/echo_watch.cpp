#include "host/exchange/echo_watch.h"

#include "host/exchange/rtu_frame.h"

namespace dx7 {

namespace {

constexpr int MISSED_ECHOES = 30;
constexpr int STRAYED_ANSWERS = 10;

}  // namespace

EchoWatch::EchoWatch(EchoMode mode)
    : mode_(mode),
      echo_(mode == EchoMode::Auto ? Echo::Unknown
            : mode == EchoMode::On ? Echo::Yes
                                   : Echo::No) {}

FrameStream::EchoLook EchoWatch::look(int function, bool alike) const {
    if (echo_ == Echo::Yes) {
        return FrameStream::EchoLook::Certain;
    }
    if (mode_ == EchoMode::Off || alike) {
        return FrameStream::EchoLook::None;
    }
    const bool unknown = echo_ == Echo::Unknown && function == READ_EXCEPTION_STATUS;
    return unknown ? FrameStream::EchoLook::Possible : FrameStream::EchoLook::Unlikely;
}

void EchoWatch::sent(quint64 sequence) {
    sequence_ = sequence;
    echoed_ = strayed_ = false;
}

void EchoWatch::echoed() {
    echoed_ = true;
    echo_ = Echo::Yes;
    strayedAnswers_ = 0;
}

void EchoWatch::answered(quint64 sequence, bool alike) {
    const bool without = sequence == sequence_ && !echoed_;
    if (echo_ == Echo::Unknown && without && !alike) {
        strayedAnswers_ = strayed_ ? strayedAnswers_ + 1 : STRAYED_ANSWERS;
        echo_ = strayedAnswers_ >= STRAYED_ANSWERS ? Echo::No : Echo::Unknown;
    }
    if (echo_ != Echo::Yes || mode_ != EchoMode::Auto || echoed_) {
        missed_ = 0;
    } else if (without && ++missed_ >= MISSED_ECHOES) {
        echo_ = Echo::Unknown;
    }
}

void EchoWatch::silent() {
    if (echo_ == Echo::Unknown && !echoed_) {
        echo_ = Echo::No;
    }
}

}  // namespace dx7
