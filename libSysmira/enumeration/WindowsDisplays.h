// The monitors that are attached to the desktop.
//
//     libSysmira::WindowsDisplays displays;
//     for (unsigned i = 0; i < displays.size(); ++i) … displays[i].getEDID(…)
//
// A set reads the PC once, when it is made, and is used on one thread.
#pragma once

#include <memory>

#include "libSysmira/Export.h"
#include "libSysmira/enumeration/WindowsDisplay.h"
#include "support/Array.h"
#include "support/String.h"

namespace libSysmira {

class SYSMIRA_API WindowsDisplays {
public:
    /// Joins the device records of monitors with what EnumDisplayDevicesW reports of the adapters on the
    /// desktop, mirroring drivers left out. A monitor is kept when a record has its device ID for a path, or
    /// a driver key that stands in its registry path; others are lines of priority 4.
    ///
    /// Nothing is thrown: what Windows refuses, or memory does not hold, is missing. COM is entered only to
    /// log a monitor without a record.
    WindowsDisplays() noexcept;
    ~WindowsDisplays();
    WindowsDisplays(const WindowsDisplays&) = delete;
    WindowsDisplays& operator=(const WindowsDisplays&) = delete;

    unsigned size() const { return m_displays.size(); }
    /// In the order of the outputs. An index beyond the end is misuse: an assertion failure.
    const WindowsDisplay& operator[](unsigned index) const { return *m_displays[index]; }

    // The index of the first display with a text, whatever the letter case; zor::NotFound when there is none.
    // The spelling of the names is part of the interface.

    /// By the port's device name ("\\.\DISPLAY1").
    unsigned findByPortLocator(const zor::String& portName) const;
    /// By the record's OS locator, which may be empty.
    unsigned findyByDisplaypath(const zor::String& path) const;
    /// By the monitor's device name ("\\.\DISPLAY1\Monitor0"). What it finds is a line of priority 1.
    unsigned findyByDisplayName(const zor::String& name) const;

private:
    void enumerate();
    template <class Text>
    unsigned find(const zor::String& wanted, Text&& textOf) const;

    zor::Array<std::unique_ptr<WindowsDisplay>> m_displays;
};

}  // namespace libSysmira
