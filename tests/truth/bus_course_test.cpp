// A hundred thousand transactions of a line on a virtual clock, some of them damaged, against what is heard
// of them.
#include <gtest/gtest.h>

#include <random>

#include "exchange_rig.h"
#include "host/exchange/bus_watch.h"

using namespace dx7;
using namespace truth;

namespace {

// What became of the transactions of a line.
struct Course {
    int undamaged = 0;
    int paired = 0;
    int wrong = 0;
    QStringList signs;
};

struct Truth {
    QByteArray request;
    QByteArray reply;
    bool damaged = false;
};

// A line with four stations, one of them mute, on which one frame in a hundred is damaged.
class Talk {
public:
    Talk(unsigned seed, int baud, int pieceUs)
        : random_(seed),
          settings_(serialSettings(baud)),
          parser_(settings_),
          watch_(settings_),
          pieceUs_(pieceUs) {}

    Course run(int transactions) {
        for (int i = 0; i < transactions; ++i) {
            transact();
        }
        flush();
        parser_.finish();
        take();
        course_.signs = watch_.signs();
        return course_;
    }

private:
    bool chance(double share) { return std::uniform_real_distribution<>(0, 1)(random_) < share; }
    int below(int limit) { return int(random_() % unsigned(limit)); }

    QByteArray damage(QByteArray frame) {
        const int at = below(frame.size());
        switch (below(5)) {
            case 0:
                frame.remove(at, 1);
                break;
            case 1:
                frame.insert(at, char(random_()));
                break;
            case 2:
                frame.truncate(at);
                break;
            case 3:
                frame[at] = char(frame[at] ^ (1 << below(8)));
                break;
            default:
                for (int i = at; i < std::min(frame.size(), at + 4); ++i) {
                    frame[i] = char(random_());
                }
                break;
        }
        return frame;
    }

    // Requests as a master polls: the same ones again and again, and writes now and then.
    QByteArray nextRequest() {
        const int station = 1 + below(4);
        QByteArray frame(1, char(station));
        const int kind = below(10);
        const int address = 0x100 * below(4) + below(6);
        const auto word = [&frame](int value) {
            frame += char(value >> 8);
            frame += char(value & 0xFF);
        };
        static constexpr int READS[] = {1, 2, 3, 3, 3, 4, 4};
        if (kind < 7) {
            frame += char(READS[kind]);
            word(address);
            word(1 + below(20));
        } else if (kind == 7) {
            frame += char(chance(0.5) ? 6 : 8);
            word(byteAt(frame, 1) == 8 ? 0 : address);
            word(below(3));
        } else if (kind == 8) {
            frame += char(7);
        } else {
            const int count = 1 + below(6);
            frame += char(16);
            word(address);
            word(count);
            frame += char(2 * count);
            for (int i = 0; i < count; ++i) {
                word(below(300));
            }
        }
        return kit::withCrc(frame);
    }

    QByteArray replyTo(const QByteArray& request) {
        const int function = byteAt(request, 1);
        QByteArray frame = request.left(2);
        if (chance(0.02)) {
            frame[1] = char(function | 0x80);
            return kit::withCrc(frame + char(1 + below(4)));
        }
        const int quantity = wordAt(request, 4);
        if (readsBits(function) || readsWords(function)) {
            const int count = readsBits(function) ? (quantity + 7) / 8 : 2 * quantity;
            frame += char(count);
            for (int i = 0; i < count; ++i) {
                frame += char(chance(0.3) ? 0 : below(256));
            }
            return kit::withCrc(frame);
        }
        if (function == 7) {
            return kit::withCrc(frame + char(below(256)));
        }
        return function == 16 ? kit::withCrc(request.left(6)) : request;
    }

    void transact() {
        QByteArray request = nextRequest();
        for (int attempt = 0; attempt < 3; ++attempt) {
            const bool requestDamaged = chance(0.01);
            say(requestDamaged ? damage(request) : request);
            const bool mute = byteAt(request, 0) == 4 || chance(0.003);
            if (requestDamaged || mute) {
                pass(150000);
                continue;
            }
            pass(3000 + below(20000));
            const QByteArray reply = replyTo(request);
            const bool replyDamaged = chance(0.01);
            // A byte too many may leave all of it there.
            truths_.push_back({request, reply, replyDamaged});
            say(replyDamaged ? damage(reply) : reply);
            if (!replyDamaged) {
                ++course_.undamaged;
                pass(4000 + below(30000));
                return;
            }
            pass(150000);
        }
    }

    // The bytes go to the parser in pieces, as an adapter hands them over.
    void say(const QByteArray& bytes) {
        for (const char byte : bytes) {
            nowUs_ += lineTimeUs(settings_, 1);
            pending_ += byte;
            if (nowUs_ - flushedUs_ >= pieceUs_) {
                flush();
            }
        }
    }
    void pass(qint64 us) {
        if (!pending_.isEmpty() && pieceUs_ < us) {
            nowUs_ += pieceUs_;
            flush();
            nowUs_ += us - pieceUs_;
        } else {
            nowUs_ += us;
        }
        parser_.advance(nowUs_);
        take();
    }
    void flush() {
        if (!pending_.isEmpty()) {
            parser_.feed(pending_.constData(), pending_.size(), nowUs_);
            pending_.clear();
        }
        flushedUs_ = nowUs_;
        take();
    }
    // Exchanges come in the order of the line: each is looked for among those that were not found yet.
    void take() {
        for (const BusEvent& event : parser_.takeEvents()) {
            watch_.take(event);
            if (event.kind != BusEvent::Exchange) {
                continue;
            }
            bool found = false;
            for (std::size_t i = next_; i < std::min(truths_.size(), next_ + 12) && !found; ++i) {
                if (truths_[i].request == event.request && truths_[i].reply == event.reply) {
                    found = true;
                    next_ = i + 1;
                    course_.paired += truths_[i].damaged ? 0 : 1;
                }
            }
            course_.wrong += found ? 0 : 1;
        }
    }

    std::mt19937 random_;
    LineSettings settings_;
    BusParser parser_;
    BusWatch watch_;
    int pieceUs_;
    qint64 nowUs_ = 0;
    qint64 flushedUs_ = 0;
    QByteArray pending_;
    std::vector<Truth> truths_;
    std::size_t next_ = 0;
    Course course_;
};

struct Adapter {
    const char* name;
    int baud;
    int pieceUs;
};

class BusParserOfALine : public testing::TestWithParam<Adapter> {};
INSTANTIATE_TEST_SUITE_P(Adapters, BusParserOfALine,
                         testing::Values(Adapter{"each_byte_at_9600", 9600, 0},
                                         Adapter{"latency_16_ms_at_9600", 9600, 16000},
                                         Adapter{"each_byte_at_115200", 115200, 0},
                                         Adapter{"latency_16_ms_at_115200", 115200, 16000}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(BusParserOfALine, WhatIsNotDamagedIsPairedRight) {
    const Course course =
        Talk(unsigned(GetParam().baud + GetParam().pieceUs), GetParam().baud, GetParam().pieceUs).run(34000);
    RecordProperty("undamaged", course.undamaged);
    RecordProperty("paired", course.paired);
    EXPECT_GT(course.undamaged, 25000) << "100,000 with all four adapters";
    EXPECT_GE(course.paired, 0.995 * course.undamaged);
    EXPECT_EQ(0, course.wrong);
    EXPECT_EQ(QStringList(), course.signs) << "one master, and each station once";
}

}  // namespace
