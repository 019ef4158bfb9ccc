// Address texts as a user may type them, and the addresses that follow from them.
//
// Input: register type, count, access mode and data type, copies, step, address text (UTF-8).
#include <fuzzer/FuzzedDataProvider.h>

#include "addressing.h"
#include "link.h"

using namespace dx7fuzz;

namespace {

const char* const NO_TYPES[] = {"FI", "FW", "", "cw", "CW_bit ", "DX"};

QString typeNumber(int number) {
    return number < REG_TYPE_COUNT ? REG_LIST[number]
                                   : QString::fromLatin1(NO_TYPES[number - REG_TYPE_COUNT]);
}

void checkCopies(const QString& regType, int start, int copies, int step) {
    QVector<QString> texts;
    QVector<int> addresses;
    const int result = intf_multiCopy(regType, start, copies, step, &texts, &addresses);
    DX7_REQUIRE(result == DX7_COPY_UNKNOWN_TYPE || result == DX7_COPY_IN_RANGE || result == DX7_COPY_CLAMPED);
    DX7_REQUIRE(texts.size() == addresses.size());
    DX7_REQUIRE(texts.size() == (result == DX7_COPY_UNKNOWN_TYPE ? 0 : copies));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const QString regType = typeNumber(input.ConsumeIntegralInRange<int>(0, REG_TYPE_COUNT + 5));
    const int count = input.ConsumeIntegral<int>();
    const int mode = input.ConsumeIntegralInRange<int>(-2, 4);
    const int step = input.ConsumeIntegral<int>();
    const int copies = input.ConsumeIntegralInRange<int>(0, 100);
    const QString text = QString::fromStdString(input.ConsumeRemainingBytesAsString());

    int address = 0;
    const int first = intf_checkAddrValidity(regType, text, &address, count, mode);
    DX7_REQUIRE(first >= DX7_ADDRESS_VALID && first <= DX7_ADDRESS_MALFORMED);
    int second_address = 0;
    const int second = intf_checkAddr(regType, text, &second_address, mode, count, mode);
    DX7_REQUIRE((second >= DX7_ADDRESS_VALID && second <= DX7_ADDRESS_OUT_OF_RANGE) ||
                second == DX7_ADDRESS_MALFORMED || second == DX7_ADDRESS_READ_ONLY ||
                second == DX7_ADDRESS_TOO_LONG);
    int parsed = 0;
    const int success = a2i_dddd_h_h_dd(text, &parsed);
    DX7_REQUIRE(success == 1 || success == -1);

    checkCopies(regType, address, copies, step);
    checkCopies(regType, count, copies, step);
    const unsigned char withStation = static_cast<unsigned char>(mode);
    DX7_REQUIRE(getRegAddressWeight(withStation, regType, address, 0) ==
                getRegAddressWeight(withStation, regType, address, 1));
    return 0;
}
