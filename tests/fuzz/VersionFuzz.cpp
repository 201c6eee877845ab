// Three versions, and what must hold between them; and the conversions of numbers.
#include <cmath>
#include <cstdint>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>

#include "DownloadController.h"
#include "Machine.h"
#include "Numbers.h"
#include "Version.h"
#include "VersionModel.h"

namespace {

bool isNeither(const std::string &one, const std::string &other) {
    return !isGreaterVersion(one, other) && !isGreaterVersion(other, one);
}

void checkPair(const std::string &one, const std::string &other) {
    const bool isGreater = isGreaterVersion(one, other);
    require(isGreater == DownloadController::IsGreaterThan(one, other), "there is one comparison");
    require(!isGreater || !isGreaterVersion(other, one), "of two versions one at most is the greater");
    if (isScannable(one) && isScannable(other))
        require(isGreater == isNewer(one, other), "versions compare as their numbers do");
}

void checkOrder(const std::string &first, const std::string &second, const std::string &third) {
    require(!isGreaterVersion(first, first), "no version is above itself");
    require(!isGreaterVersion(first, second) || !isGreaterVersion(second, third) ||
                isGreaterVersion(first, third),
            "what is above the greater one is above the lesser");
    require(!isNeither(first, second) || !isNeither(second, third) || isNeither(first, third),
            "what equals one of two equal versions equals the other");
}

void checkNumbers(const std::string &text, double value) {
    const double whole = std::trunc(value);
    const bool fits = whole >= -2147483648.0 && whole <= 2147483647.0;
    require(truncateToInt32(value) == (fits ? static_cast<std::int64_t>(whole) : -2147483648LL),
            "what fits is truncated, all else is the least number");
    const std::int32_t number = leadingNumber(text);
    if (isScannable(text)) {
        long long scannedNumber = 0;
        static_cast<void>(std::sscanf(text.c_str(), "%lld", &scannedNumber));
        const bool isWithin = scannedNumber >= INT32_MIN && scannedNumber <= INT32_MAX;
        require(number == (isWithin            ? scannedNumber
                           : scannedNumber < 0 ? INT32_MIN
                                               : INT32_MAX),
                "a number that does not fit is the nearest that does");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const double value = input.ConsumeFloatingPoint<double>();
    const std::string first = input.ConsumeRandomLengthString();
    const std::string second = input.ConsumeRandomLengthString();
    const std::string third = input.ConsumeRemainingBytesAsString();
    checkPair(first, second);
    checkPair(second, first);
    checkPair(second, third);
    checkOrder(first, second, third);
    checkNumbers(first, value);
    return 0;
}
