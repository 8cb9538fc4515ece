// The fixture of all tests against the simulated PC, and the devices that they put into it.
//
// A test begins with a PC of one device, the tree's root, and an empty journal, and ends with everything
// closed that was opened; any misuse of a handle fails it on the spot.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "simulation/control/Call.h"
#include "simulation/control/Ledger.h"
#include "simulation/machine/Machine.h"
#include "support/Array.h"
#include "support/LogFactory.h"
#include "support/String.h"

namespace zor {

inline void PrintTo(const String& text, std::ostream* stream) {
    *stream << '"' << text.getUTF8String().c_str() << '"';
}

}  // namespace zor

using Strings = std::vector<std::string>;

inline std::string plain(const zor::String& text) { return text.getUTF8String().c_str(); }

inline Strings plain(const zor::Array<zor::String>& texts) {
    Strings result;
    for (const zor::String& text : texts) result.push_back(plain(text));
    return result;
}

inline zor::String zorText(const simulation::Text& text) {
    return {simulation::wide(text), static_cast<unsigned>(text.size())};
}

/// The bytes of 16-bit units, as a property or registry value holds them.
inline simulation::Bytes bytesOf(const simulation::Text& text) {
    const auto* first = reinterpret_cast<const unsigned char*>(text.data());
    return {first, first + text.size() * sizeof(char16_t)};
}

/// An array with something in it, to see whether a failing call clears it.
inline zor::Array<zor::String> usedArray() { return {zor::String("before"), zor::String("before, too")}; }

class SimulatedPc : public ::testing::Test {
protected:
    using DeviceNode = simulation::DeviceNode;
    using Distortion = simulation::Distortion;
    using RegistryValue = simulation::RegistryValue;
    using Text = simulation::Text;

    struct LogLine {
        std::string logger;
        int priority;
        std::string text;
    };

    void SetUp() override {
        simulation::reset();
        simulation::ledger().setViolationHandler([](const std::string& text) { ADD_FAILURE() << text; });
        zor::LogFactory::setSink([this](const zor::String& logger, int priority, const zor::String& text) {
            log.push_back({plain(logger), priority, plain(text)});
        });
        root = add(u"HTREE\\ROOT\\0", 0).handle;
    }

    void TearDown() override {
        EXPECT_EQ(simulation::ledger().describe(), "") << "left open";
        simulation::ledger().setViolationHandler(nullptr);
        zor::LogFactory::setSink(nullptr);
        zor::LogFactory::setPriority(3);
        simulation::control().watching = true;
        simulation::reset();
    }

    // The machine. References to nodes stay valid.

    DeviceNode& add(const Text& id, DEVINST parent, const GUID& setupClass = GUID{}) {
        DeviceNode node;
        node.instanceId = id;
        node.classGuid = setupClass;
        node.status = DN_DRIVER_LOADED | DN_STARTED;
        return machine.add(std::move(node), parent);
    }
    DeviceNode& add(const Text& id) { return add(id, root); }

    static DeviceNode& makeHidden(DeviceNode& node) {
        node.status |= DN_NO_SHOW_IN_DM;
        return node;
    }
    static DeviceNode& makeAbsent(DeviceNode& node) {
        node.status = DN_HAS_PROBLEM;
        node.problem = CM_PROB_DEVICE_NOT_THERE;
        return node;
    }
    static DeviceNode& withInterface(DeviceNode& node, const GUID& interfaceClass, const Text& path) {
        node.interfaces.push_back({interfaceClass, path});
        return node;
    }

    /// A disk as Windows knows it: names, IDs, keys with a value each, its interface and its driver's
    /// package.
    DeviceNode& addDisk(const Text& id = u"SCSI\\DISK&VEN_NORD\\5&3&0") {
        DeviceNode& disk = add(id, root, GUID_DEVCLASS_DISKDRIVE);
        disk.text(SPDRP_DEVICEDESC, u"Disk drive").text(SPDRP_FRIENDLYNAME, u"Nordlicht 1000");
        disk.text(SPDRP_SERVICE, u"disk").text(SPDRP_LOCATION_INFORMATION, u"7");
        disk.text(SPDRP_DRIVER, u"{4d36e967-e325-11ce-bfc1-08002be10318}\\0001");
        disk.texts(SPDRP_HARDWAREID, {u"SCSI\\DiskNORD", u"GenDisk"});
        disk.texts(SPDRP_COMPATIBLEIDS, {u"SCSI\\Disk"});
        withInterface(disk, GUID_DEVINTERFACE_DISK, u"\\\\?\\" + id);
        disk.drivers.push_back(diskDriver());
        machine.deviceKey(disk).values[u"Parameter"] = RegistryValue::text(u"hardware");
        machine.driverKey(disk).values[u"Parameter"] = RegistryValue::text(u"software");
        return disk;
    }

    static simulation::Driver diskDriver() {
        simulation::Driver driver;
        driver.provider = u"Nordlicht";
        driver.manufacturer = u"Nordlicht Speicher";
        driver.description = u"Disk drive";
        driver.date = 127953216000000000ull;  // 2006-06-21
        driver.version = 0x000A00000F3C0001ull;
        driver.infFile = u"C:\\Windows\\INF\\disk.inf";
        driver.section = u"disk_install";
        driver.infDate = 132000000000000000ull;  // 2019-04-17
        driver.files = {u"C:\\Windows\\system32\\drivers\\disk.sys",
                        u"C:\\Windows\\system32\\drivers\\part.sys"};
        return driver;
    }

    // The journal, from SetUp or forgetCalls on.

    static unsigned calls(std::string_view function) { return simulation::control().calls(function); }
    static Strings callNames() { return simulation::control().names(); }
    static void forgetCalls() { simulation::control().clearJournal(); }
    /// What a function was called with, one text for each call.
    static Strings argumentsOf(std::string_view function) {
        Strings result;
        for (const simulation::JournalEntry& entry : simulation::control().journal()) {
            if (entry.function->name == function) result.push_back(entry.arguments);
        }
        return result;
    }
    /// Runs work of very many calls without keeping a journal of them.
    template <class Work>
    static void unwatched(Work&& work) {
        simulation::control().watching = false;
        work();
        simulation::control().watching = true;
    }

    // Faults. Calls are counted from here on; an empty name means every function.

    static void failCall(const std::string& function, long long code, unsigned nth = 1,
                         bool onwards = false) {
        simulation::Fault fault;
        fault.function = function;
        fault.code = code;
        fault.nth = nth;
        fault.onwards = onwards;
        simulation::control().add(fault);
    }
    static void distort(const std::string& function, Distortion distortion, unsigned nth = 1,
                        bool onwards = false) {
        simulation::Fault fault;
        fault.function = function;
        fault.distortion = distortion;
        fault.nth = nth;
        fault.onwards = onwards;
        simulation::control().add(fault);
    }
    static void clearFaults() { simulation::control().clearFaults(); }

    simulation::Machine& machine = simulation::machine();
    DEVINST root = 0;
    std::vector<LogLine> log;
};
