/// \file
/// The driver's store of current values beside a model of it, in which every key is found by a plain walk.
#ifndef KORVALENT_DX7_TESTS_TWIN_STORES_H
#define KORVALENT_DX7_TESTS_TWIN_STORES_H

#include <gtest/gtest.h>

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <algorithm>
#include <functional>

#include "data_areas.h"
#include "support.h"

namespace dx7test {

typedef QList<_DATA_> Areas;

/// Areas of a list in which the driver uses hints. Its own border is lower (WALKED_AREAS in data_areas.cpp).
const int LONG_LIST = 100;
/// The driver walks lists up to this size, so that the first of two areas with one key is found in them.
const int SHORT_LIST = 32;

/// The two functions that look an area up.
enum class Lookup { INDEX, AREA };

inline bool sameKey(const _DATA_& a, const _DATA_& b) {
    return a.station == b.station && a.regType == b.regType && a.address == b.address;
}

/// driver.dataAreas and its model. Every edit is made to both, and the two never share their data.
class TwinStores {
public:
    const Areas& model() const { return model_; }
    int size() const { return model_.size(); }

    void edit(const std::function<void(Areas&)>& change) {
        change(driver.dataAreas);
        change(model_);
    }

    /// Makes both lists long: areas of a station of their own are looked up in both.
    void lengthen() {
        for (int address = 0; size() < LONG_LIST; ++address) {
            expectFound(area(FILLING_STATION, "F", address), Lookup::INDEX);
        }
    }

    /// Looks `key` up in both. Of two areas with that key in a long list either may be found.
    void expectFound(const _DATA_& key, Lookup lookup) {
        const bool repeated = size() > SHORT_LIST && timesInModel(key) > 1;
        const int expected = walk(key);
        const int found = find(key, lookup);
        ASSERT_EQ(size(), driver.dataAreas.size()) << textOf(key).toStdString();
        if (repeated) {
            ASSERT_TRUE(sameKey(key, driver.dataAreas.at(found))) << textOf(key).toStdString();
        } else {
            ASSERT_EQ(expected, found) << textOf(key).toStdString();
        }
    }

    void expectSame() const { EXPECT_EQ(textsOf(model_), textsOf(driver.dataAreas)); }

    /// Keeps copies of both lists, and puts them in place again.
    void save() {
        savedStore_ = driver.dataAreas;
        savedModel_ = model_;
    }
    void restore() {
        driver.dataAreas = savedStore_;
        model_ = savedModel_;
    }

private:
    static const int FILLING_STATION = 9;

    static int find(const _DATA_& key, Lookup lookup) {
        if (lookup == Lookup::INDEX) {
            return getIndexOfDataArea(key.station, key.regType, key.address, driver.dataAreas);
        }
        const _DATA_* const found = &dataArea(key.station, key.regType, key.address);
        const Areas& areas = driver.dataAreas;
        const auto place =
            std::find_if(areas.begin(), areas.end(), [found](const _DATA_& area) { return &area == found; });
        return static_cast<int>(place - areas.begin());
    }

    /// The plain walk; a key that is not there gets an area at the end.
    int walk(const _DATA_& key) {
        for (int i = 0; i < model_.size(); ++i) {
            if (sameKey(model_.at(i), key)) {
                return i;
            }
        }
        model_.append(area(key.station, key.regType, key.address));
        return model_.size() - 1;
    }

    int timesInModel(const _DATA_& key) const {
        return static_cast<int>(std::count_if(model_.begin(), model_.end(),
                                              [&key](const _DATA_& area) { return sameKey(key, area); }));
    }

    /// Everything a data area holds, as one comparable text.
    static QString textOf(const _DATA_& data) {
        QString text = QString("%1#%2%3 flags %4 %5 %6 %7 %8")
                           .arg(data.station)
                           .arg(data.regType)
                           .arg(data.address)
                           .arg(data.commError)
                           .arg(data.writePending)
                           .arg(data.pendingBits)
                           .arg(data.wordMonitorFlags)
                           .arg(data.bitMonitorMask);
        for (int i = 0; i < 4; ++i) {
            text += QString(" %1/%2").arg(data.value[i]).arg(data.writtenValue[i]);
        }
        return text;
    }

    static QStringList textsOf(const Areas& areas) {
        QStringList texts;
        for (const _DATA_& data : areas) {
            texts << textOf(data);
        }
        return texts;
    }

    Areas model_;
    Areas savedStore_;
    Areas savedModel_;
};

}  // namespace dx7test

#endif
