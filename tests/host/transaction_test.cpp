// What is said of a request's end.
#include "host/exchange/transaction.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "host/error.h"
#include "scripted_line.h"

using namespace dx7;

namespace {

struct Told {
    const char* what;
    Outcome outcome;
    int expectLen;
    const char* reply;  // Without a CRC, for its length and its head are what counts.
    qint64 noiseBytes;
    int exceptionCode;
    const char* text;
};
void PrintTo(const Told& told, std::ostream* out) {
    *out << told.what;
}

class OutcomeText : public testing::TestWithParam<Told> {};

TEST_P(OutcomeText, SaysWhatIsWrong) {
    const Told& told = GetParam();
    Transaction transaction;
    transaction.outcome = told.outcome;
    transaction.frame.expectLen = told.expectLen;
    transaction.reply = hex(told.reply);
    transaction.noiseBytes = told.noiseBytes;
    transaction.exceptionCode = told.exceptionCode;
    EXPECT_EQ(outcomeText(transaction), QString::fromLatin1(told.text));
}

INSTANTIATE_TEST_SUITE_P(
    Table, OutcomeText,
    testing::Values(
        Told{"silence", Outcome::Timeout, 9, "", 0, 0, "no reply"},
        Told{"noise", Outcome::Timeout, 9, "", 1048576, 0, "no valid reply: 1048576 bytes of noise"},
        Told{"a byte", Outcome::Timeout, 9, "", 1, 0, "no valid reply: 1 byte of noise"},
        Told{"noise before what was not sent", Outcome::Skipped, 9, "", 7, 0,
             "no valid reply: 7 bytes of noise"},
        Told{"CRC", Outcome::WrongCrc, 9, "", 0, 0, "wrong CRC"},
        Told{"short", Outcome::WrongLength, 9, "01 03 04 00 01", 0, 0, "wrong length (5 of 9 bytes)"},
        Told{"other count", Outcome::WrongLength, 9, "01 03 06 00 01 00 02 00 03", 0, 0,
             "wrong length (its byte count says 6, 4 were asked for)"},
        Told{"refusal", Outcome::Exception, 9, "", 0, 2, "exception 2 (illegal data address)"}));

struct WrongEcho {
    const char* what;
    const char* request;
    const char* reply;
    const char* text;
};
void PrintTo(const WrongEcho& echo, std::ostream* out) {
    *out << echo.what;
}

class EchoText : public testing::TestWithParam<WrongEcho> {};

TEST_P(EchoText, SaysWhatTheAcknowledgementRepeats) {
    Transaction transaction;
    transaction.frame.expectLen = 8;
    transaction.request = framed(hex(GetParam().request));
    transaction.mismatch = framed(hex(GetParam().reply));
    transaction.otherFrames = 1;
    EXPECT_EQ(outcomeText(transaction), QStringLiteral("no valid reply: the acknowledgement repeats ") +
                                            QString::fromLatin1(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Table, EchoText,
    testing::Values(
        WrongEcho{"register", "01 06 E3 25 00 05", "01 06 E3 25 FF 00", "65280 instead of 5"},
        WrongEcho{"coil", "01 05 10 20 FF 00", "01 05 10 20 00 00", "0 instead of 1"},
        WrongEcho{"strange coil", "01 05 10 20 FF 00", "01 05 10 20 00 01", "0x0001 instead of 1"},
        WrongEcho{"quantity", "01 10 E0 10 00 02 04 00 0A 01 02", "01 10 E0 10 00 01", "1 instead of 2"},
        WrongEcho{"address", "01 06 00 25 00 05", "01 06 E3 25 00 06",
                  "another address (0xe325 instead of 0x0025)"}));

TEST(OutcomeText, NamesForeignFramesAndNoise) {
    Transaction transaction;
    transaction.otherFrames = 1;
    EXPECT_EQ(outcomeText(transaction), QStringLiteral("no valid reply: 1 foreign frame"));
    transaction.noiseBytes = 3;
    transaction.otherFrames = 2;
    EXPECT_EQ(outcomeText(transaction),
              QStringLiteral("no valid reply: 2 foreign frames and 3 bytes of noise"));
}

TEST(OutcomeText, OfWhatWasCutShortIsTheReason) {
    Transaction transaction;
    transaction.outcome = Outcome::CutShort;
    transaction.info = QStringLiteral("the line was lost");
    EXPECT_EQ(outcomeText(transaction), transaction.info);
}

TEST(OutcomeText, OfWhatWasNotSent) {
    Transaction transaction;
    transaction.outcome = Outcome::EchoOnly;
    EXPECT_EQ(
        outcomeText(transaction),
        QStringLiteral("not sent: the adapter sends back what is sent, and the station does not answer"));
    transaction.outcome = Outcome::Skipped;
    transaction.otherFrames = 1;
    EXPECT_EQ(outcomeText(transaction), QStringLiteral("no reply"));
    transaction.heard = true;
    EXPECT_EQ(outcomeText(transaction), QStringLiteral("no valid reply: 1 foreign frame"));
}

TEST(OutcomeText, OfADoubtfulReplyIsNotItsOutcome) {
    Transaction transaction;
    transaction.doubtful = true;
    transaction.driverResult = DX7_REPLY_GOOD;
    for (const Outcome outcome : {Outcome::Good, Outcome::Exception}) {
        transaction.outcome = outcome;
        EXPECT_EQ(outcomeText(transaction), QStringLiteral("the reply may be the answer to another request"));
    }
    EXPECT_FALSE(transaction.good());
    transaction.outcome = Outcome::CutShort;
    transaction.info = QStringLiteral("dx7 was stopped");
    EXPECT_EQ(outcomeText(transaction), transaction.info);
}

TEST(SystemReason, NeverClaimsSuccess) {
    EXPECT_EQ(systemReason(0), QStringLiteral("the system gave no reason"));
    EXPECT_EQ(systemReason(EBADF), QStringLiteral("it is closed"));
    EXPECT_EQ(systemReason(ENOSPC), QStringLiteral("No space left on device"));
}

}  // namespace
