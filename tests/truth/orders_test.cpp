// Every order of up to four requests, each answered in time, late, twice, not at all, by a foreign frame
// first, with its echo, or with a refusal: what is called good is the reply to its own request.
#include <gtest/gtest.h>

#include <queue>

#include "exchange_rig.h"

using dx7::Exchange;
using dx7::ExchangeEnd;

namespace {

enum Fate { InTime, Late, Doubled, Lost, Foreign, Echoed, Refused, FATES };

struct Variant {
    int lateMs;
    int copyMs;
    bool foreignAfter;
    int stations;
    bool writes;
    bool ignores8;
};

const qint64 MS = 1000;

// Each request, and each time that one is sent, has a number of its own as value.
class Conversation {
public:
    Conversation(const std::vector<Fate>& fates, const Variant& variant)
        : fates_(fates), variant_(variant), exchange_(truth::tcpSettings()) {}

    void run() {
        for (std::size_t i = 0; i < fates_.size(); ++i) {
            ask(static_cast<int>(i));
        }
        exchange_.setFinishing(true);
        for (int i = 0; i < 12 && exchange_.unproven(); ++i) {
            settle();
            if (exchange_.proofDue(nowUs_)) {
                exchange_.prove(nowUs_);
            }
            turnUntilIdle();
        }
    }

    bool untrue() const { return untrue_; }
    int good() const { return good_; }
    bool undecidable() const { return lost_ && foreign_; }

private:
    struct Coming {
        qint64 atUs;
        int order;
        QByteArray frame;
        bool operator<(const Coming& other) const {
            return atUs != other.atUs ? atUs > other.atUs : order > other.order;
        }
    };
    struct Answer {
        bool genuine;
    };

    void ask(int number) {
        const int station = 1 + number % variant_.stations;
        for (int attempt = 0; attempt < 3; ++attempt) {
            settle();
            value_ = ++values_;
            QByteArray request;
            for (const int byte : {station, variant_.writes ? 6 : 3, 0, number, variant_.writes ? value_ : 0,
                                   variant_.writes ? number : 1}) {
                request.append(static_cast<char>(byte));
            }
            dx7::appendCrc(request);
            ended_ = false;
            exchange_.begin(request, variant_.writes ? 8 : 7, attempt == 0, nowUs_);
            take();
            turnUntilIdle();
            if (end_.kind == ExchangeEnd::Reply || end_.kind == ExchangeEnd::Exception) {
                return;
            }
        }
    }

    // The line has been silent for long enough.
    void settle() {
        for (int i = 0; i < 50 && nowUs_ < exchange_.clearUs(); ++i) {
            turn(exchange_.clearUs());
        }
    }

    void turnUntilIdle() {
        take();
        for (int i = 0; i < 200 && !exchange_.idle(); ++i) {
            turn(nowUs_ + 20000 * MS);
        }
    }

    void turn(qint64 untilUs) {
        const qint64 nextUs = std::min(exchange_.nextDueUs().value_or(untilUs), untilUs);
        if (!coming_.empty() && coming_.top().atUs <= nextUs) {
            const Coming next = coming_.top();
            coming_.pop();
            nowUs_ = std::max(nowUs_, next.atUs);
            exchange_.feed(next.frame.constData(), next.frame.size(), nowUs_);
        } else {
            nowUs_ = std::max(nextUs, nowUs_);
            exchange_.advance(nowUs_);
        }
        take();
    }

    void take() {
        if (!exchange_.output().isEmpty()) {
            const QByteArray frame = exchange_.output();
            exchange_.outputTaken();
            answer(frame);
        }
        if (const auto end = exchange_.takeEnd()) {
            end_ = *end;
            if (end->ticket) {
                answers_[*end->ticket] = genuine(exchange_.reply());
            }
        }
        for (const dx7::Settlement& settlement : exchange_.settlements()) {
            untrue_ = untrue_ || (settlement.good && !answers_[settlement.ticket]);
            good_ += settlement.good ? 1 : 0;
        }
        exchange_.clearSettlements();
        exchange_.clearNotes();
    }

    // Of the reply that ends the present request.
    bool genuine(const QByteArray& reply) const { return reply == expected_; }

    void come(qint64 atUs, const QByteArray& frame) { coming_.push(Coming{atUs, ++order_, frame}); }

    QByteArray replyTo(const QByteArray& request, int value) const {
        if (variant_.writes) {
            return request;
        }
        return truth::valueOf(dx7::byteAt(request, 0), value);
    }

    void answer(const QByteArray& frame) {
        const int function = dx7::byteAt(frame, 1);
        qint64& readyUs = readyUs_[static_cast<std::size_t>(dx7::byteAt(frame, 0))];
        if (function == dx7::READ_EXCEPTION_STATUS || function == dx7::DIAGNOSTICS) {
            if (function == dx7::READ_EXCEPTION_STATUS || !variant_.ignores8) {
                readyUs = std::max(readyUs, nowUs_ + 10 * MS);
                come(readyUs, truth::answerTo(frame));
            }
            return;
        }
        const Fate fate = sends_ < fates_.size() ? fates_[sends_] : InTime;
        ++sends_;
        readyUs = std::max(readyUs, nowUs_ + (fate == Late ? variant_.lateMs : 10) * MS);
        expected_ = replyTo(frame, value_);
        if (fate == Refused) {
            expected_ = frame.left(1) + char(function | dx7::EXCEPTION_BIT) + '\x02';
            dx7::appendCrc(expected_);
        }
        lost_ = lost_ || fate == Lost;
        foreign_ = foreign_ || fate == Foreign || (fate == Echoed && variant_.writes);
        const QByteArray foreign = replyTo(frame, 0x4000 + value_);
        if (fate == Echoed) {
            come(nowUs_, frame);
        }
        if (fate == Foreign && !variant_.foreignAfter) {
            come(nowUs_ + 5 * MS, foreign);
        }
        if (fate != Lost) {
            come(readyUs, expected_);
        }
        if (fate == Foreign && variant_.foreignAfter) {
            come(readyUs + 1, foreign);
        }
        if (fate == Doubled) {
            come(readyUs + variant_.copyMs * MS, expected_);
            foreign_ = true;
        }
    }

    std::vector<Fate> fates_;
    Variant variant_;
    Exchange exchange_;
    qint64 nowUs_ = 5000 * MS;
    std::priority_queue<Coming> coming_;
    std::array<qint64, 256> readyUs_{};
    QByteArray expected_;  // The genuine reply to what was sent last.
    std::map<quint64, bool> answers_;
    ExchangeEnd end_;
    std::size_t sends_ = 0;
    int order_ = 0;
    int values_ = 0;
    int value_ = 0;
    bool ended_ = false;
    bool lost_ = false;
    bool foreign_ = false;
    bool untrue_ = false;
    int good_ = 0;
};

QByteArray text(const std::vector<Fate>& fates, const Variant& variant) {
    static const char* const NAMES[] = {"in time", "late", "doubled", "lost", "foreign", "echoed", "refused"};
    QByteArray all;
    for (const Fate fate : fates) {
        all += NAMES[fate];
        all += ", ";
    }
    return all + "late " + QByteArray::number(variant.lateMs) + ", copy " +
           QByteArray::number(variant.copyMs) + ", stations " + QByteArray::number(variant.stations) +
           (variant.foreignAfter ? ", foreign after" : "") + (variant.writes ? ", writes" : "") +
           (variant.ignores8 ? ", ignores 8" : "");
}

std::vector<Variant> variants() {
    std::vector<Variant> all;
    for (const int lateMs : {700, 2500}) {
        for (const int copyMs : {5, 300}) {
            for (const bool after : {false, true}) {
                for (const int stations : {1, 2}) {
                    all.push_back(Variant{lateMs, copyMs, after, stations, false, false});
                }
            }
        }
    }
    all.push_back(Variant{700, 5, false, 1, true, false});
    all.push_back(Variant{2500, 300, true, 2, true, false});
    all.push_back(Variant{700, 300, false, 1, false, true});
    return all;
}

template <typename Check>
void forEveryOrder(const Check& check) {
    for (const Variant& variant : variants()) {
        for (int length = 1; length <= 4; ++length) {
            std::vector<Fate> fates(static_cast<std::size_t>(length), InTime);
            for (bool more = true; more;) {
                check(fates, variant);
                more = false;
                for (Fate& fate : fates) {
                    fate = static_cast<Fate>((fate + 1) % FATES);
                    if (fate != InTime) {
                        more = true;
                        break;
                    }
                }
            }
        }
    }
}

TEST(EveryOrder, WhatIsCalledGoodIsTheReplyToItsOwnRequest) {
    int good = 0;
    int runs = 0;
    int undecidable = 0;
    int untrue = 0;
    forEveryOrder([&](const std::vector<Fate>& fates, const Variant& variant) {
        Conversation conversation(fates, variant);
        conversation.run();
        ++runs;
        good += conversation.good();
        if (conversation.untrue() && conversation.undecidable()) {
            ++undecidable;
        } else if (conversation.untrue() && ++untrue <= 5) {
            ADD_FAILURE() << text(fates, variant).constData();
        }
    });
    EXPECT_EQ(untrue, 0);
    EXPECT_GT(good, runs);
    // A frame that is put in where one is lost can be told by nothing; that is rare.
    EXPECT_LT(undecidable, runs / 10);
    RecordProperty("runs", runs);
    RecordProperty("undecidable", undecidable);
}

TEST(EveryOrder, WhatComesInTimeOrLateIsGood) {
    forEveryOrder([&](const std::vector<Fate>& fates, const Variant& variant) {
        const bool sound = std::all_of(fates.begin(), fates.end(), [](Fate fate) {
            return fate == InTime || fate == Late || fate == Refused;
        });
        // A station is waited for no longer than all its attempts take, and that it ignores code 8 takes
        // longer to find out.
        if (!sound || variant.lateMs > 1000 || variant.ignores8) {
            return;
        }
        Conversation conversation(fates, variant);
        conversation.run();
        EXPECT_EQ(conversation.good(), static_cast<int>(fates.size())) << text(fates, variant).constData();
    });
}

}  // namespace
