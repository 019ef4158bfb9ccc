// A parameter file that was cut or changed anywhere is not taken for the one that was saved.
#include "host/files/parameter_seal.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include "host/error.h"
#include "host/files/parameter_file.h"
#include "loaded_driver.h"

using namespace dx7;

namespace {

enum { BYTE_VALUES = 256 };

/// A file as `params save` writes it.
QByteArray savedText(int values) {
    ParameterSet set;
    set.station = 3;
    for (int address = 0; address < values; ++address) {
        set.values[QStringLiteral("F")][address] = (address * 7919 + 1531) % 65536;
    }
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("saved.toml"));
    saveParameters(path, notation(), set, Existing::Keep);
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    return file.readAll();
}

bool isTaken(const QByteArray& text) {
    try {
        parametersFromText(QStringLiteral("p.toml"), text, notation(), Altered::Refuse);
        return true;
    } catch (const UsageError& error) {
        EXPECT_TRUE(error.text().contains(QStringLiteral("is not as it was saved: ")))
            << error.text().toStdString();
        return false;
    }
}

std::string faultOf(const QByteArray& text) {
    return sealOf(text).fault.toStdString();
}

TEST(ParameterSeal, ASavedFileIsTaken) {
    const QByteArray text = savedText(60);
    EXPECT_TRUE(isTaken(text));
    EXPECT_EQ(60, sealOf(text).count);
    EXPECT_EQ("", faultOf(text));
    EXPECT_TRUE(text.contains("\n\"0.0.00\" = 1531\n")) << "the lines are what they always were";
}

TEST(ParameterSeal, EveryCutIsFound) {
    const QByteArray text = savedText(896);
    for (int size = 0; size < text.size(); ++size) {
        ASSERT_NE("", faultOf(text.left(size))) << "cut to " << size << " bytes";
    }
    const QByteArray small = savedText(60);
    for (int size = 0; size < small.size(); ++size) {
        ASSERT_FALSE(isTaken(small.left(size))) << "cut to " << size << " bytes";
    }
}

TEST(ParameterSeal, ALostBeginningOrLineIsFound) {
    const QByteArray text = savedText(60);
    for (int from = 1; from < text.size(); ++from) {
        ASSERT_NE("", faultOf(text.mid(from)));
    }
    for (int begin = 0; begin < text.size(); begin = text.indexOf('\n', begin) + 1) {
        QByteArray shorter = text;
        shorter.remove(begin, text.indexOf('\n', begin) + 1 - begin);
        ASSERT_FALSE(isTaken(shorter)) << begin;
    }
}

TEST(ParameterSeal, EveryOneByteChangeIsFound) {
    const QByteArray text = savedText(20);
    for (int at = 0; at < text.size(); ++at) {
        QByteArray changed = text;
        for (int value = 0; value < BYTE_VALUES; ++value) {
            changed[at] = static_cast<char>(value);
            ASSERT_EQ(changed == text, faultOf(changed).empty()) << "byte " << at << " is " << value;
        }
        for (const char value : {'\0', '\n', '\r', ' ', '0', '9', '#', '"', '\x80'}) {
            ASSERT_NE("", faultOf(text.left(at) + value + text.mid(at))) << "inserted at " << at;
            changed[at] = value;
            ASSERT_EQ(changed == text, isTaken(changed)) << "byte " << at;
        }
        ASSERT_NE("", faultOf(text.left(at) + text.mid(at + 1))) << "removed at " << at;
    }
}

TEST(ParameterSeal, EveryBitOfALargeFileCounts) {
    QByteArray text = savedText(200);
    for (int at = 0; at < text.size(); ++at) {
        for (int bit = 0; bit < 8; ++bit) {
            text[at] = static_cast<char>(text.at(at) ^ (1 << bit));
            ASSERT_NE("", faultOf(text)) << "bit " << bit << " of byte " << at;
            text[at] = static_cast<char>(text.at(at) ^ (1 << bit));
        }
    }
    EXPECT_EQ("", faultOf(text));
}

TEST(ParameterSeal, OtherLineEndsAndWhatFollowsTheLastLineAreFound) {
    const QByteArray text = savedText(60);
    QByteArray carriage = text;
    carriage.replace("\n", "\r\n");
    EXPECT_FALSE(isTaken(carriage));
    EXPECT_FALSE(isTaken(text + '\n'));
    EXPECT_FALSE(isTaken(text + "# a remark\n"));
    EXPECT_FALSE(isTaken(text + text));
    EXPECT_FALSE(isTaken("\xEF\xBB\xBF" + text));
}

TEST(ParameterSeal, SaysWhatItFound) {
    const QByteArray text = savedText(60);
    const int lastLine = text.lastIndexOf('\n', -2) + 1;
    EXPECT_NE(std::string::npos, faultOf(text.left(lastLine)).find("an earlier dx7 saved it"));
    QByteArray shorter = text;
    shorter.remove(text.indexOf("\"0.0.07\""), text.indexOf("\"0.0.08\"") - text.indexOf("\"0.0.07\""));
    EXPECT_NE(std::string::npos, faultOf(shorter).find("saved with 60 values, it has 59 lines of values"));
    // A count that is not that of the file, with a checksum that is.
    EXPECT_FALSE(isTaken(sealedParameters(text.left(lastLine), 61)));
    EXPECT_EQ("", faultOf(sealedParameters(text.left(lastLine), 61)));
}

TEST(ParameterSeal, AnAlteredFileMayBeAccepted) {
    const auto accepted = [](const QByteArray& text) {
        return parametersFromText(QStringLiteral("p.toml"), text, notation(), Altered::Accept);
    };
    QByteArray text = savedText(60);
    text.replace("\"0.0.00\" = 1531", "\"0.0.00\" = 15");
    EXPECT_EQ(15, accepted(text).values[QStringLiteral("F")][0]);
    EXPECT_EQ(60, accepted(text).count());
    EXPECT_EQ(1, accepted("[F]\n\"0.0.01\" = 1\n").count()) << "as dx7 1.0.0 wrote them";
    EXPECT_THROW(accepted(""), UsageError);
    EXPECT_THROW(accepted("[F]\n\"0.0.01\" = \n"), UsageError);
}

}  // namespace
