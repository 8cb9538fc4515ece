#include "support/NonDiscreteMeasurement.h"

#include <cmath>

#include "support/SprintfFormat.h"

namespace zor {

namespace {

constexpr const char* Prefixes[] = {"", "K", "M", "G", "T", "P", "E", "Z", "Y"};

unsigned int checkedMagnitude(unsigned int magnitude) noexcept {
    return magnitude <= NonDiscreteMeasurement::Yotta ? magnitude : NonDiscreteMeasurement::One;
}

// What is printed may be rounded up to 1000 where the value itself is below.
bool printsAsThousand(double value, unsigned int precision) noexcept {
    const double scale = std::pow(10.0, precision);
    return std::round(std::fabs(value) * scale) >= 1000 * scale;
}

}  // namespace

NonDiscreteMeasurement::NonDiscreteMeasurement(unsigned int unitType, double value, unsigned int magnitude,
                                               unsigned int precision) noexcept
    : m_value(value),
      m_unitType(unitType),
      m_magnitude(checkedMagnitude(magnitude)),
      m_precision(precision) {}

String NonDiscreteMeasurement::toString(unsigned int precision, unsigned int magnitude) const {
    precision = std::min(precision, 17U);
    double value = m_value;
    unsigned int shown = m_magnitude;
    if (magnitude == Automatic) {
        for (; shown < Yotta && printsAsThousand(value, precision); ++shown) value /= 1024;
    } else {
        shown = checkedMagnitude(magnitude);
        value = std::ldexp(value, 10 * (static_cast<int>(m_magnitude) - static_cast<int>(shown)));
    }
    const bool bytes = m_unitType == Bytes;
    if (bytes && shown == One && value == std::floor(value)) precision = 0;
    const String number = SprintfFormat("%.*f", precision, value);
    const String unit = String(Prefixes[shown]) + (bytes ? "B" : "");
    return unit.empty() ? number : number + " " + unit;
}

}  // namespace zor
