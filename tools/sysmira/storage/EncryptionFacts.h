// Whether a volume is encrypted, and why that is not known where it is not.
#pragma once

#include <string>

#include "libSysmira/enumeration/Volume.h"
#include "support/TriBool.h"

namespace sysmira {

struct EncryptionFacts {
    zor::TriBool enabled;
    std::string whyUnknown;  ///< empty when it is known
};

/// Asks Windows. Unknown for a volume without a letter, since Windows is asked by letter, and for one that is
/// not among those that Windows can encrypt.
EncryptionFacts readEncryption(const libSysmira::Volume& volume);

}  // namespace sysmira
