// Texts of message tables with their inserts: %1 to %99 with a printf format in exclamation marks behind it
// (%2!08X!; without one the insert is a text), %n and %r line ends, %t tab, %0 the end without a line end, %%
// and other signs themselves.
#pragma once

#include <functional>
#include <map>
#include <optional>

#include "simulation/control/Text.h"

namespace simulation {

struct MessageExpansion {
    Text text;
    DWORD error = 0;  ///< ERROR_INVALID_PARAMETER: ill-formed; ERROR_MORE_DATA: longer than Windows formats
};

/// What an insert stands for; its format is empty where the message gives none.
using MessageInsert = std::function<Text(unsigned number, const Text& format)>;

/// Without `insert` they pass through as they stand, formats and signs included, while line ends are made.
MessageExpansion expandMessage(const Text& message, const MessageInsert* insert);

/// An argument as FormatMessageW takes it: a number, or the address of a text. Widths and precisions given as
/// "*" are arguments of their own, from the insert's number on.
Text formatArgument(unsigned number, const Text& format,
                    const std::function<ULONG_PTR(unsigned number)>& argument);

/// The message table of a message file of the PC; null when the file is missing or has none.
const std::map<DWORD, Text>* messageTable(const Text& file);
/// The text of a message of a classic source, from the files that the registry names for it under any log.
const Text* sourceMessage(const Text& source, DWORD id);
/// Whether the registry names message files for a classic source that the PC has.
bool hasMessageFiles(const Text& source);

}  // namespace simulation
