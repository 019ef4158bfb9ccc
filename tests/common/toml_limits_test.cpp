// TOML texts that would take the parser too deep, and files that are not what they seem.
#include "common/toml_limits.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <toml++/toml.h>
#include <unistd.h>

#include <QTemporaryDir>
#include <random>

#include "common/file_content.h"

using namespace dx7common;

namespace {

std::string repeated(const std::string& text, std::size_t times) {
    std::string all;
    for (std::size_t i = 0; i < times; ++i) {
        all += text;
    }
    return all;
}

bool passes(const std::string& text) {
    return !findTomlExcess(text);
}

// The place "LINE:COLUMN" of what is too much.
std::string placeOf(const std::string& text) {
    const auto excess = findTomlExcess(text);
    return excess ? std::to_string(excess->line) + ":" + std::to_string(excess->column) : "passes";
}

TEST(TomlLimits, LevelsAreCountedUpToTheLimit) {
    for (std::size_t levels = 1; levels <= TOML_MAX_LEVELS + 2; ++levels) {
        const bool allowed = levels <= TOML_MAX_LEVELS;
        EXPECT_EQ(allowed, passes("a" + repeated(".a", levels) + " = 1\n")) << levels;
        EXPECT_EQ(allowed, passes("a = " + repeated("[", levels) + repeated("]", levels))) << levels;
        EXPECT_EQ(allowed, passes(repeated("a = {", levels) + repeated("}", levels))) << levels;
        EXPECT_EQ(allowed, passes("[a" + repeated(".a", levels - 1) + "]\n")) << levels;
    }
    EXPECT_TRUE(passes("a.b.c = { d.e = [ { f.g = 1 } ] }\n"));
    EXPECT_FALSE(passes(repeated("a.b.c.d.e.f = { ", 6)));
}

TEST(TomlLimits, ThePlaceIsNamed) {
    EXPECT_EQ("2:66", placeOf("x = 1\na" + repeated(".a", 40) + " = 1\n"));
    EXPECT_EQ("4:37", placeOf("x = '''\n\n'''\na = " + repeated("[", 40)));
    EXPECT_EQ("1:1", placeOf(std::string(TOML_MAX_BYTES + 1, '#')));
    EXPECT_EQ("passes", placeOf(std::string(TOML_MAX_BYTES, '#')));
}

TEST(TomlLimits, StringsCommentsAndNumbersHoldWhatTheyLike) {
    const std::string dots = repeated(".[{", 200);
    for (const std::string& text :
         {"# " + dots + "\n", "a = \"" + dots + "\"\n", "a = '" + dots + "'\n", "\"" + dots + "\" = 1\n",
          "a = \"\"\"" + dots + "\n" + dots + "\"\"\"\n", "a = '''" + dots + "\n" + dots + "'''\n",
          "a = \"\"\"" + dots + "\\\"\"\"" + dots + "\"\"\"\"\"\n", "a = \"\\\"" + dots + "\"\n",
          "a = [" + repeated("0.5, ", 5000) + "]\n", repeated("scale = 0.1\n", 5000),
          repeated("[[tag]]\nscale = 0.1 # a.b.c\naddress = \"3.0.25\"\n", 5000),
          "a = [" + repeated("[1.5, 2.5], ", 2000) + "]\n", std::string("a = { b = [1.5], c = 2.5 }\n")}) {
        EXPECT_EQ("passes", placeOf(text)) << text.substr(0, 40);
    }
}

TEST(TomlLimits, DottedKeysAreCounted) {
    EXPECT_TRUE(passes(repeated("a.b = 1\n", TOML_MAX_DOTTED_KEYS)));
    EXPECT_FALSE(passes(repeated("a.b = 1\n", TOML_MAX_DOTTED_KEYS + 1)));
    EXPECT_FALSE(passes(repeated("[a.b]\n", TOML_MAX_DOTTED_KEYS + 1)));
    EXPECT_FALSE(passes(repeated("[[a.b]]\n", TOML_MAX_DOTTED_KEYS + 1)));
    EXPECT_FALSE(passes("a = [" + repeated("{ b.c = 1 }, ", TOML_MAX_DOTTED_KEYS + 1) + "]\n"));
}

std::size_t depthOf(const toml::node& node) {
    std::size_t below = 0;
    if (const toml::table* table = node.as_table()) {
        for (const auto& [key, value] : *table) {
            below = std::max(below, depthOf(value));
        }
    } else if (const toml::array* array = node.as_array()) {
        for (const toml::node& value : *array) {
            below = std::max(below, depthOf(value));
        }
    }
    return below + 1;
}

// Texts of the characters that matter: whatever the parser makes of one that passes is not deep.
TEST(TomlLimits, NoTextThatPassesIsDeepForTheParser) {
    const std::vector<std::string> pieces{"a",     "b",      ".",        "a.a.a.a.a.a.a.a.a.a.a.a",
                                          "=",     " = 1\n", "[",        "]",
                                          "{",     "}",      ",",        "\"",
                                          "'",     "\"\"\"", "'''",      "\\",
                                          "\n",    "#",      "\r\n",     " ",
                                          "1",     "x = ",   "\"\\\"\"", "'\"'",
                                          "[a]\n", "\"\""};
    std::mt19937 random(7);
    int parsed = 0;
    for (int i = 0; i < 60000; ++i) {
        std::string text;
        for (std::size_t n = random() % 30; n > 0; --n) {
            text += pieces[random() % pieces.size()];
        }
        // Whether the scan is inside a string here, where the parser is not, or the other way round.
        const std::string deep = text + "\n" + "z" + repeated(".z", 2 * TOML_MAX_LEVELS) + " = 1\n";
        try {
            const toml::table table = toml::parse(deep);
            ++parsed;
            ASSERT_TRUE(depthOf(table) <= 2 * TOML_MAX_LEVELS + 2 || findTomlExcess(deep)) << deep;
        } catch (const toml::parse_error&) {
        }
    }
    EXPECT_LT(500, parsed);
}

class FileContentTest : public testing::Test {
protected:
    std::string path(const char* name) const {
        return folder.filePath(QString::fromLatin1(name)).toStdString();
    }
    std::string fileOf(std::size_t size) const {
        std::FILE* file = std::fopen(path("file").c_str(), "w");
        std::fputs(std::string(size, 'x').c_str(), file);
        std::fclose(file);
        return path("file");
    }

    QTemporaryDir folder;
};

TEST_F(FileContentTest, FilesUpToTheLimitAreRead) {
    for (const std::size_t size : {0U, 1U, 65535U, 65536U, 65537U, 200000U}) {
        const FileContent content = readFileContent(fileOf(size), 200000);
        EXPECT_EQ("", content.fault);
        EXPECT_EQ(size, content.bytes.size());
    }
    const FileContent large = readFileContent(fileOf(200001), 200000);
    EXPECT_EQ("it has more than 200000 bytes, the most that is read; it has 200001", large.fault);
    EXPECT_EQ("", large.bytes);
}

TEST_F(FileContentTest, WhatIsNotAFileIsNotEmpty) {
    EXPECT_EQ("it is a folder", readFileContent(path("."), 100).fault);
    EXPECT_EQ("No such file or directory", readFileContent(path("none"), 100).fault);
    EXPECT_EQ("it has more than 100 bytes, the most that is read", readFileContent("/dev/zero", 100).fault);
    EXPECT_EQ("", readFileContent("/dev/null", 100).fault);
    EXPECT_EQ("Input/output error", readFileContent("/proc/self/mem", 100).fault);
}

TEST_F(FileContentTest, SparseFilesAreNotRead) {
    const std::string sparse = fileOf(1);
    ASSERT_EQ(0, ::truncate(sparse.c_str(), 3221225472));
    EXPECT_NE(std::string::npos, readFileContent(sparse, 4194304).fault.find("it has 3221225472"));
}

}  // namespace
