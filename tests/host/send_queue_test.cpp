// Over a socket pair; time is what the test says.
#include "host/line/send_queue.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "line_ends.h"

using namespace dx7;

namespace {

const qint64 SECOND_US = 1000000;
// More than the system keeps for the other end.
const int MANY = 4000000;

class SendQueueTest : public testing::Test {
protected:
    SendQueueTest() {
        int both[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, both), 0);
        ours.become(both[0]);
        theirs.become(both[1]);
    }
    bool send(const QByteArray& bytes) { return queue.send(ours.number(), Channel::Socket, bytes); }
    bool flush(qint64 nowUs) { return queue.flush(ours.number(), Channel::Socket, nowUs); }
    QByteArray readAll() const {
        QByteArray all;
        for (QByteArray some = theirs.read(); !some.isEmpty(); some = theirs.read()) {
            all += some;
        }
        return all;
    }

    End ours;
    End theirs;
    SendQueue queue;
};

TEST_F(SendQueueTest, HandsOverAtOnceWhatIsTaken) {
    EXPECT_TRUE(send("abc"));
    EXPECT_FALSE(queue.sending());
    EXPECT_TRUE(queue.tookBytes());
    EXPECT_TRUE(flush(0)) << "there is nothing to go on with";
    EXPECT_EQ(theirs.read(), QByteArray("abc"));
}

TEST_F(SendQueueTest, GoesOnWithWhatWasLeft) {
    QByteArray many(MANY, 'x');
    many[MANY - 1] = 'y';
    {
        // The caller's bytes need not last.
        QByteArray lent = many;
        lent.detach();
        EXPECT_TRUE(send(QByteArray::fromRawData(lent.constData(), lent.size())));
        lent.fill('z');
    }
    EXPECT_TRUE(queue.sending());
    EXPECT_TRUE(queue.tookBytes());
    QByteArray got = readAll();
    EXPECT_LT(got.size(), MANY);
    for (int i = 0; queue.sending() && i < 1000; ++i) {
        ASSERT_TRUE(flush(i)) << queue.failure().toStdString();
        got += readAll();
    }
    EXPECT_TRUE(got == many);
}

TEST_F(SendQueueTest, GivesUpWhatIsNotTakenForFiveSeconds) {
    EXPECT_TRUE(send(QByteArray(MANY, 'x')));
    EXPECT_TRUE(flush(100 * SECOND_US));
    EXPECT_TRUE(flush(105 * SECOND_US - 1));
    theirs.read();
    EXPECT_TRUE(flush(105 * SECOND_US)) << "it took some";
    EXPECT_TRUE(flush(110 * SECOND_US - 1));
    EXPECT_FALSE(flush(110 * SECOND_US));
    EXPECT_EQ(queue.failure(), QStringLiteral("it takes no bytes"));
    EXPECT_FALSE(queue.sending());
}

TEST_F(SendQueueTest, SaysOfTheLastBytesWhetherAnyWasTaken) {
    EXPECT_FALSE(queue.tookBytes());
    EXPECT_TRUE(send(QByteArray(MANY, 'x')));
    EXPECT_TRUE(send("abc"));
    EXPECT_FALSE(queue.tookBytes()) << "others are before them";
    QByteArray got;
    for (int i = 0; queue.sending() && i < 1000; ++i) {
        got += readAll();
        ASSERT_TRUE(flush(i));
    }
    EXPECT_TRUE(queue.tookBytes());
    got += readAll();
    EXPECT_EQ(got.size(), MANY + 3);
    EXPECT_TRUE(got.endsWith("xabc"));
}

TEST_F(SendQueueTest, NamesALoss) {
    EXPECT_TRUE(send(QByteArray(MANY, 'x')));
    theirs.close();
    EXPECT_FALSE(flush(0));
    EXPECT_FALSE(queue.sending());
    EXPECT_EQ(queue.failure(), QStringLiteral("Broken pipe"));
    EXPECT_FALSE(send("abc"));
    EXPECT_FALSE(queue.tookBytes());
}

}  // namespace
