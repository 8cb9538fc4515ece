// BSTRs, SAFEARRAYs and VARIANTs as the simulated functions themselves make and read them: in the ledger, but
// not in the journal.
#pragma once

#include "simulation/control/Text.h"
#include "support/WindowsApi.h"

namespace simulation {

class Call;

/// A BSTR of the caller's; `creator` is the function that hands it out.
BSTR newBstr(const Text& text, const char* creator);
/// Null is fine; freeing twice is a violation.
void freeBstr(BSTR text, const char* function);

/// The text of a parameter that is declared BSTR, by its length in front. A pointer to some other text is a
/// violation (it has no such length), and read up to its NUL. A null pointer is the empty text.
Text readBstr(const Call& call, const WCHAR* text);

/// The same of a text that need not come from COM, as long as its length stands in front: a text without one
/// is a violation.
Text readMeasured(const Call& call, const WCHAR* text);

/// An array of `count` elements, zeroed; of one dimension, or of two (`count` by 1).
SAFEARRAY* newSafeArray(VARTYPE type, ULONG count, const char* creator, bool twoDimensions = false);
/// Frees the array and what its elements hold.
void destroySafeArray(SAFEARRAY* array, const char* function);
VARTYPE elementType(const SAFEARRAY* array);

/// Frees what the variant holds and makes it VT_EMPTY.
HRESULT clearVariant(VARIANT& variant, const char* function);

}  // namespace simulation
