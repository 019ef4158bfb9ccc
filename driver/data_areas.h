/// \file
/// The store of current values, which items are monitored, and how changes are reported. The exported
/// intf_getData is declared in korvalent_dx7.h.
#ifndef KORVALENT_DX7_DATA_AREAS_H
#define KORVALENT_DX7_DATA_AREAS_H

#include <QtCore/QList>
#include <QtCore/QString>

#include "korvalent_dx7.h"

/// Bits of _DATA_::wordMonitorFlags.
const int MONITOR_WORD = 1;
const int MONITOR_DOUBLE_FIRST = 2;
const int MONITOR_DOUBLE_SECOND = 4;

/// Index in `areas` of the first area with this key; a zero area is appended when there is none. Takes
/// constant time on average for driver.dataAreas, whose order and content stay the only truth: edits from
/// outside are noticed, with one exception: edits that leave two areas with the same key in a list of more
/// than 32 areas.
int getIndexOfDataArea(int station, const QString& regType, int address, QList<_DATA_>& areas);

/// Marks `length` consecutive items as monitored: bit types in the mask of their bit-group area, word types
/// by their word flag, other types not at all. Returns 0.
int _setDataAreaMonitorFlag(int station, const QString& regType, int address, int length);

/// Zeroes the monitor flags of every area.
void clearMonitorFlags();

/// Reports, in ascending order, the monitored bits of one group that differ between two bytes.
void _byteDataChange(const unsigned char* oldValue, const unsigned char* newValue, int station,
                     const QString& regType, int groupAddress);

/// Reports a changed word: its monitored bits in ascending order (unless `noBitScan`), the word, the double
/// word at its address, the double word one below; each only when its flag is set.
void _wordDataChange(const int* oldValue, const int* newValue, int station, const QString& regType,
                     int address, int noBitScan);

/// The area with this key, created if absent. The reference does not survive the next call into the store or
/// the host's callback.
const _DATA_& dataArea(int station, const QString& regType, int address);

/// The same for writing; the key must not be changed.
_DATA_& editDataArea(int station, const QString& regType, int address);

/// Spans one call from the host into an exported function that uses the store. Only the host's side edits
/// driver.dataAreas, so within the span the index needs checking against the list at most once, and once more
/// after every report.
class DataAreaCall {
public:
    DataAreaCall();
    ~DataAreaCall();

    /// To be called when a report has returned.
    static void reportReturned();

private:
    Q_DISABLE_COPY(DataAreaCall)
};

#endif
