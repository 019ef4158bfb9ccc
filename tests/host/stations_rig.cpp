#include "stations_rig.h"

#include "host/exchange/rtu_frame.h"

using namespace dx7;

namespace {

QByteArray refusalOf(const QByteArray& request) {
    return framed(QByteArray(request.left(1)) + static_cast<char>(byteAt(request, 1) | EXCEPTION_BIT) + '\2');
}

}  // namespace

StationsTest::StationsTest() {
    rig.line.script = [this](ScriptedLine& line, const QByteArray& request) {
        const int station = byteAt(request, 0);
        if (silent.count(station) != 0 || station == 0) {
            return;
        }
        if (refusing) {
            line.arrive(refusalOf(request), lineTimeUs(rig.settings, request.size() + 5) + 2000);
        } else {
            answer(line, rig.settings, devices[station], request);
        }
    };
}

void StationsTest::allGood() const {
    for (int i = 0; i < rig.engine.table().size(); ++i) {
        EXPECT_EQ(rig.told(i).quality, Quality::Good) << i;
    }
}
