// The live table on a terminal that tmux provides: keys go in, the screen's text is looked at.
#include <QElapsedTimer>
#include <QStandardPaths>

#include "tool.h"

namespace {

QString latin(const char* text) {
    return QString::fromLatin1(text);
}

class LiveTableTest : public ToolTest {
protected:
    void SetUp() override {
        if (QStandardPaths::findExecutable(latin("tmux")).isEmpty()) {
            GTEST_SKIP() << "tmux is not installed";
        }
    }
    void TearDown() override {
        tmux({latin("kill-server")});
        ToolTest::TearDown();
    }

    QString tmux(const QStringList& arguments) const {
        QProcess process;
        process.start(latin("tmux"),
                      QStringList{latin("-S"), path("tmux"), latin("-f"), latin("/dev/null")} + arguments);
        process.waitForFinished(5000);
        return QString::fromUtf8(process.readAllStandardOutput());
    }
    void startTable(const char* items) {
        const QString line =
            latin("DX7_DRIVER='%1' '%2' monitor --serial '%3' %4; echo ended with $?; sleep 30")
                .arg(latin(DX7_TEST_DRIVER), latin(DX7_TOOL), port(), latin(items));
        tmux({latin("new-session"), latin("-d"), latin("-x"), latin("90"), latin("-y"), latin("12"), line});
    }
    void keys(const QStringList& names) const { tmux(QStringList{latin("send-keys")} + names); }
    QString screen() const { return tmux({latin("capture-pane"), latin("-p")}); }
    // Waits until the screen shows the text.
    bool shows(const char* text) const {
        QElapsedTimer timer;
        timer.start();
        QString seen;
        while (timer.elapsed() < 10000) {
            seen = screen();
            if (seen.contains(latin(text))) {
                return true;
            }
        }
        ADD_FAILURE() << "the screen never showed \"" << text << "\":\n" << seen.toStdString();
        return false;
    }
};

TEST_F(LiveTableTest, ShowsValuesQualityAndAge) {
    startDevice();
    startTable("F:3.0.25 F:3.0.26@5 --timeout 50");
    EXPECT_TRUE(shows("NAME        ADDRESS                    VALUE  QUALITY       AGE   CHANGES"));
    EXPECT_TRUE(shows("F:3.0.25@1  F:3.0.25@1                   325  good"));
    EXPECT_TRUE(shows("F:3.0.26@5  F:3.0.26@5                     -  bad       no reply, for "));
}

TEST_F(LiveTableTest, WritesTheSelectedValue) {
    startDevice();
    startTable("AI:0 F:3.0.25");
    ASSERT_TRUE(shows("F:3.0.25@1  F:3.0.25@1                   325"));
    keys({latin("w")});
    EXPECT_TRUE(shows("AI is read-only"));
    keys({latin("Down"), latin("w")});
    ASSERT_TRUE(shows("F:3.0.25@1 = _"));
    keys({latin("70000"), latin("Enter")});
    EXPECT_TRUE(shows("value 70000 for F is out of range"));
    keys({latin("w")});
    ASSERT_TRUE(shows("F:3.0.25@1 = _"));
    keys({latin("4711"), latin("Enter")});
    EXPECT_TRUE(shows("F:3.0.25@1 was acknowledged"));
    EXPECT_TRUE(shows("F:3.0.25@1  F:3.0.25@1                  4711  good"));
}

TEST_F(LiveTableTest, ShowsStatisticsResizesAndQuits) {
    startDevice();
    startTable("F:3.0.25");
    ASSERT_TRUE(shows("325  good"));
    keys({latin("s")});
    EXPECT_TRUE(shows("wrong CRC"));
    EXPECT_FALSE(screen().contains(latin("line busy"))) << "the window is too low for all of it";
    tmux({latin("resize-window"), latin("-x"), latin("100"), latin("-y"), latin("30")});
    EXPECT_TRUE(shows("line busy"));
    keys({latin("q")});
    EXPECT_TRUE(shows("ended with 0"));
}

TEST_F(LiveTableTest, ShowsThatTheLineIsGone) {
    startDevice();
    startTable("F:3.0.25");
    ASSERT_TRUE(shows("325  good"));
    stopDevice();
    EXPECT_TRUE(shows("NO LINE"));
    EXPECT_TRUE(shows("325  bad"));
    startDevice();
    EXPECT_TRUE(shows("325  good"));
}

}  // namespace
