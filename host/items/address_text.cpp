#include "host/items/address_text.h"

#include <QRegularExpression>
#include <QVector>
#include <algorithm>
#include <cstdlib>
#include <optional>

#include "host/number_text.h"

namespace dx7 {

namespace {

constexpr int LONGEST_TYPED = 24;
constexpr int LONGEST_NAME = 64;

// How many letters must be put in, left out or replaced to make the one text of the other.
int editDistance(const QString& from, const QString& to) {
    QVector<int> row(to.size() + 1);
    for (int i = 0; i < row.size(); ++i) {
        row[i] = i;
    }
    for (int i = 0; i < from.size(); ++i) {
        int diagonal = row.at(0);
        row[0] = i + 1;
        for (int j = 0; j < to.size(); ++j) {
            const int replaced = diagonal + (from.at(i) == to.at(j) ? 0 : 1);
            diagonal = row.at(j + 1);
            row[j + 1] = std::min({replaced, diagonal + 1, row.at(j) + 1});
        }
    }
    return row.last();
}

int commonBeginning(const QString& a, const QString& b) {
    const auto end = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    return static_cast<int>(end.first - a.begin());
}

// The candidate with the fewest edits, of several the one with the longest common beginning; null when half
// of the letters would have to change.
QString nearestText(const QStringList& candidates, const QString& typed) {
    QString nearest;
    int fewest = typed.size() / 2 + 1;
    for (const QString& candidate : candidates) {
        if (std::abs(candidate.size() - typed.size()) > fewest) {
            continue;
        }
        const int edits = editDistance(typed, candidate);
        const bool longer = edits == fewest && !nearest.isNull() &&
                            commonBeginning(typed, candidate) > commonBeginning(typed, nearest);
        if (edits < fewest || longer) {
            fewest = edits;
            nearest = candidate;
        }
    }
    return nearest;
}

QStringList addressTexts(const RegisterType& type) {
    QStringList texts;
    for (int address = type.lowestAddress; address <= type.highestAddress; ++address) {
        texts += type.addressText(address);
    }
    return texts;
}

QString nearestPlainAddress(const RegisterType& type, const QString& typed) {
    const auto number = nearestNumber(typed, type.lowestAddress, type.highestAddress);
    return number ? type.addressText(static_cast<int>(*number))
                  : nearestText(addressTexts(type), foldedDigits(typed));
}

// A group as it was meant: one hexadecimal digit, or a decimal number up to that of the letter F; empty for
// neither.
std::optional<int> groupMeant(const QString& digits) {
    const int hexadecimal = digits.toInt(nullptr, 16);
    if (hexadecimal < 16) {
        return hexadecimal;
    }
    bool decimal = false;
    const int group = digits.toInt(&decimal);
    return decimal && group < 16 ? std::optional<int>(group) : std::nullopt;
}

// group.sub.index in digits that need not be those of the form, or group.index; null for any other text.
QString groupedMeaning(const RegisterType& type, const QString& text) {
    static const QRegularExpression form(
        QStringLiteral("\\A0*([0-9A-F]{1,2})\\.(?:[^.]*\\.)?0*([0-9]{1,2})\\z"));
    static const QRegularExpression plain(QStringLiteral("\\A[0-9]{1,3}\\z"));
    if (plain.match(text).hasMatch()) {
        return type.addressText(std::clamp(text.toInt(), type.lowestAddress, type.highestAddress));
    }
    const QRegularExpressionMatch match = form.match(text);
    const std::optional<int> group = match.hasMatch() ? groupMeant(match.captured(1)) : std::nullopt;
    if (!group) {
        return {};
    }
    const int highestGroup = type.highestAddress / GROUP_ITEMS;
    const int index = std::min(match.captured(2).toInt(), GROUP_ITEMS - 1);
    return type.addressText(std::min(*group, highestGroup) * GROUP_ITEMS + index);
}

QString nearestGroupedAddress(const RegisterType& type, const QString& typed) {
    static const QRegularExpression separators(QStringLiteral("[,;:/_-]"));
    const QString dotted = QString(typed).replace(separators, QStringLiteral("."));
    const QString meant = groupedMeaning(type, foldedDigits(dotted));
    return meant.isNull() ? nearestText(addressTexts(type), dotted.toUpper()) : meant;
}

}  // namespace

QString nearestAddress(const RegisterType& type, const QString& typed) {
    if (typed.size() > LONGEST_TYPED || type.highestAddress < type.lowestAddress) {
        return {};
    }
    return type.grouped() ? nearestGroupedAddress(type, typed) : nearestPlainAddress(type, typed);
}

QString nearestName(const QStringList& names, const QString& typed) {
    if (typed.size() > LONGEST_NAME) {
        return {};
    }
    for (const QString& name : names) {
        if (foldedDigits(name) == foldedDigits(typed)) {
            return name;
        }
    }
    return nearestText(names, typed);
}

}  // namespace dx7
