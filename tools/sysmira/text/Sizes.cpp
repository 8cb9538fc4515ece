#include "tools/sysmira/text/Sizes.h"

#include "support/NonDiscreteMeasurement.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

std::string shortSize(unsigned long long bytes) {
    using zor::NonDiscreteMeasurement;
    return toUtf8(NonDiscreteMeasurement(NonDiscreteMeasurement::Bytes, static_cast<double>(bytes),
                                         NonDiscreteMeasurement::One)
                      .toString(/*precision=*/2, NonDiscreteMeasurement::Automatic));
}

std::string fullSize(unsigned long long bytes) {
    const std::string exact = grouped(bytes) + (bytes == 1 ? " byte" : " bytes");
    return bytes < 1024 ? exact : shortSize(bytes) + " (" + exact + ")";
}

std::string grouped(unsigned long long number) {
    const std::string digits = std::to_string(number);
    std::string text;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (i != 0 && (digits.size() - i) % 3 == 0) text += ',';
        text += digits[i];
    }
    return text;
}

}  // namespace sysmira
