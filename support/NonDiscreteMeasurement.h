// A quantity for reports.
#pragma once

#include "support/Export.h"
#include "support/String.h"

namespace zor {

/// A value in a unit and a magnitude of that unit, printed in a magnitude of choice.
class ZOR_API NonDiscreteMeasurement {
public:
    /// A unit type that is not listed counts as a bare number.
    enum UnitType : unsigned int { Number = 0, Bytes = 3 };
    /// 1 to 8 are the powers of 1024 from kilo to yotta; 13 chooses. A code that is not listed counts as 0.
    enum Magnitude : unsigned int {
        One = 0,
        Kilo,
        Mega,
        Giga,
        Tera,
        Peta,
        Exa,
        Zetta,
        Yotta,
        Automatic = 13
    };

    NonDiscreteMeasurement(unsigned int unitType, double value, unsigned int magnitude,
                           unsigned int precision = 2) noexcept;

    /// With the precision given at construction, in a magnitude that fits.
    String toString() const { return toString(m_precision, Automatic); }
    /// "931.51 GB": `precision` decimals (at most 17) and the unit.
    ///
    /// The automatic magnitude goes on to the next where 1000 would be printed, so that a size with two
    /// decimals never takes more than nine characters. Whole bytes are printed without decimals.
    String toString(unsigned int precision, unsigned int magnitude) const;

private:
    double m_value;
    unsigned int m_unitType;
    unsigned int m_magnitude;
    unsigned int m_precision;
};

}  // namespace zor
