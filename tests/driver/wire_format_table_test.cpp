// The register map of docs/wire-format.md and the driver's rows say the same, cell by cell.
#include <gtest/gtest.h>

#include <QtCore/QString>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "register_map.h"

namespace {

const char* const HEAD = "| Type | Kind | Addresses | Text | Grouped | Refuses writing | Read | Write |";

std::string hex(int value, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "`0x%0*X`", digits, static_cast<unsigned>(value));
    return text;
}

std::string numbering(int row, const RegisterAccess& access) {
    const std::string page = " page " + hex(access.highByte, 2);
    switch (access.numbering) {
        case BY_OFFSET:
            return " " + hex(REG_OFFSETADDR[row], 4) + " + address";
        case BY_PAGE:
            return page + ", address";
        case BY_GROUP:
            return page + " + group, packed index";
        case BY_INDEX:
            return page + ", packed index";
        case FIXED:
            return page + ", 0";
        case NOWHERE:
            return "";
    }
    return "unknown";
}

std::string accessCell(int row, const RegisterAccess& access) {
    return access.function == 0 ? "-" : "FC " + std::to_string(access.function) + numbering(row, access);
}

std::string kindCell(RegisterKind kind) {
    switch (kind) {
        case KIND_BIT:
            return "bit";
        case KIND_WORD:
            return "word";
        case KIND_STATUS:
            return "status";
        case KIND_UNKNOWN:
            return "none";
    }
    return "unknown";
}

std::string addressCell(int row) {
    if (row == ROW_UNKNOWN) {
        return "-";
    }
    const RegisterType& type = typeInRow(row);
    const int accepted = type.limit - 1;
    const int highest = type.text == GROUPED_TEXT ? accepted - 1 : accepted;
    return std::to_string(type.minimum) + ".." + std::to_string(highest);
}

std::string rowOfTable(int row) {
    const RegisterType& type = typeInRow(row);
    const std::vector<std::string> cells = {
        row == ROW_UNKNOWN ? "any other name" : "`" + REG_LIST[row].toStdString() + "`",
        kindCell(type.kind),
        addressCell(row),
        type.text == GROUPED_TEXT ? "group" : "plain",
        type.grouped ? "yes" : "no",
        type.refusesWrite ? "yes" : "no",
        accessCell(row, type.read),
        accessCell(row, type.write)};
    std::string text = "|";
    for (const std::string& cell : cells) {
        text += " " + cell + " |";
    }
    return text;
}

/// The rows of the document's table, its head left out.
std::vector<std::string> rowsOfDocument() {
    std::ifstream document(DX7_SOURCE_DIR "/docs/wire-format.md");
    std::string line;
    while (std::getline(document, line) && line != HEAD) {
    }
    std::getline(document, line);
    std::vector<std::string> rows;
    while (std::getline(document, line) && !line.empty()) {
        rows.push_back(line);
    }
    return rows;
}

}  // namespace

TEST(WireFormatTable, HasTheDriversRows) {
    const std::vector<std::string> rows = rowsOfDocument();
    ASSERT_EQ(rows.size(), static_cast<std::size_t>(ROW_UNKNOWN + 1));
    for (int row = 0; row <= ROW_UNKNOWN; ++row) {
        EXPECT_EQ(rows[static_cast<std::size_t>(row)], rowOfTable(row));
    }
}

TEST(GroupTables, HaveTheNumbersThatTheDriverReads) {
    const int f = registerRow(QString::fromLatin1("F"));
    for (int group = 0; group < 16; ++group) {
        EXPECT_EQ(registerNumber(f, typeInRow(f).read, group * GROUP_ITEMS) >> 8, REG_F_OFFSETADDR[group]);
    }
    const int d = registerRow(QString::fromLatin1("D"));
    for (int group = 0; group < 2; ++group) {
        EXPECT_EQ(registerNumber(d, typeInRow(d).read, group * GROUP_ITEMS) >> 8, REG_D_OFFSETADDR[group]);
    }
}
