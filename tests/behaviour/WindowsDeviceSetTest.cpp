#include "libSysmira/enumeration/WindowsDeviceSet.h"

#include "support/RaisedException.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using libSysmira::WindowsDevice;
using libSysmira::WindowsDeviceSet;
using namespace libSysmira;  // the enumerators

// "ID", or "ID = locator" for devices that have one.
Strings contents(const WindowsDeviceSet& set) {
    Strings result;
    for (const WindowsDevice& device : set) {
        const std::string locator = plain(device.getOsLocator());
        result.push_back(plain(device.getDeviceInstanceId()) + (locator.empty() ? "" : " = " + locator));
    }
    return result;
}

class DeviceSet : public SimulatedPc {
protected:
    /// A device of a class with an interface, at the path "<ID>!".
    DeviceNode& add(const Text& id, const GUID* setupClass, const GUID* interfaceClass = nullptr) {
        DeviceNode& node = SimulatedPc::add(id, root, setupClass == nullptr ? GUID{} : *setupClass);
        if (interfaceClass != nullptr) withInterface(node, *interfaceClass, id + u"!");
        return node;
    }

    WindowsDeviceSet set;

    void TearDown() override {
        set.clear();
        SimulatedPc::TearDown();
    }
};

const GUID* const diskClass = &GUID_DEVCLASS_DISKDRIVE;
const GUID* const diskInterface = &GUID_DEVINTERFACE_DISK;

TEST_F(DeviceSet, HoldsEachDeviceOnceAndTakesItsLocatorWhenItComes) {
    makeHidden(add(u"A\\1", nullptr));
    WindowsDevice device("A\\1");
    set.appendDevice(device, /*includeHidden=*/false);
    EXPECT_TRUE(set.empty());
    set.appendDevice(device, /*includeHidden=*/true);
    device.setOsLocator("", WinInt_Tape);
    set.appendDevice(device, /*includeHidden=*/false);
    EXPECT_EQ(set[0].getInterfaceType(), WinInt_Tape);
    device.setOsLocator("first", WinInt_Disk);
    set.appendDevice(device, /*includeHidden=*/false);
    device.setOsLocator("second", WinInt_Volume);
    set.appendDevice(device, /*includeHidden=*/true);
    EXPECT_EQ(contents(set), Strings{"A\\1 = first"});
    EXPECT_EQ(set[0].getInterfaceType(), WinInt_Disk);
    set.appendDevice(set[0], true);
    set.appendDeviceByDeviceInstanceId("a\\1");  // another text, although the same device to Windows
    EXPECT_EQ(contents(set), Strings{"A\\1 = first"}) << "hidden under each name";
    machine.node(u"A\\1")->status = DN_MOVED;
    set.appendDeviceByDeviceInstanceId("a\\1");
    EXPECT_EQ(set.size(), 1u) << "moved devices are not shown either";
    machine.node(u"A\\1")->statusUnreadable = true;
    set.appendDeviceByDeviceInstanceId("a\\1");
    set.appendDeviceByDeviceInstanceId("USB\\NONE\\1");
    EXPECT_EQ(contents(set), (Strings{"A\\1 = first", "a\\1", "USB\\NONE\\1"}));
    EXPECT_FALSE(set[2].isValid());
}

TEST_F(DeviceSet, GivesNoDiskThePathOfAnother) {
    add(u"A\\1", diskClass, diskInterface);
    add(u"A\\2", diskClass, diskInterface);
    failCall("SetupDiGetDeviceInstanceIdW", ERROR_INVALID_DATA, 1, /*onwards=*/true);
    set.appendDevices(diskClass, nullptr, 0, WinInt_None);
    EXPECT_EQ(contents(set), (Strings{"", ""})) << "no ID matches none";
    set.appendDevices(nullptr, diskInterface, 0, WinInt_Disk);
    EXPECT_EQ(contents(set), (Strings{"", "", " = A\\1!", " = A\\2!"}));
    ASSERT_EQ(set.size(), 4u);
    const WindowsDevice pathOnly = set[3];
    set.appendDevice(pathOnly, /*includeHidden=*/true);
    EXPECT_EQ(contents(set), (Strings{"", "", " = A\\1!", " = A\\2!", " = A\\2!"}));
}

TEST_F(DeviceSet, ChecksItsIndices) {
    add(u"A\\1", nullptr);
    set.appendDeviceByDeviceInstanceId("A\\1");
    EXPECT_EQ(set[0].getDeviceInstanceId(), "A\\1");
    const WindowsDeviceSet& constant = set;
    for (const unsigned index : {1u, 0xFFFFFFFFu}) {
        for (const bool isConstant : {false, true}) {
            log.clear();
            try {
                isConstant ? void(constant[index]) : void(set[index]);
                ADD_FAILURE() << "an index beyond the end is misuse";
            } catch (const zor::RaisedException& exception) {
                EXPECT_EQ(exception.getCode(), 7u);
            }
            ASSERT_EQ(log.size(), 1u);
            EXPECT_EQ(log[0].logger, "zor.AssertionFailure");
            EXPECT_TRUE(log[0].text.ends_with("index < size()")) << log[0].text;
        }
    }
}

TEST_F(DeviceSet, UnitesTheDevicesOfAClassWithThoseOfAnInterface) {
    add(u"A\\BOTH", diskClass, diskInterface);
    add(u"A\\INTERFACE", nullptr, diskInterface);
    add(u"A\\CLASS", diskClass);
    withInterface(add(u"A\\TWO", diskClass, diskInterface), *diskInterface, u"second path");
    makeHidden(add(u"A\\HIDDEN", diskClass, diskInterface));
    add(u"A\\OTHER", &GUID_DEVCLASS_CDROM, &GUID_DEVINTERFACE_CDROM);
    DeviceNode& phantom = add(u"A\\PHANTOM", diskClass, diskInterface);
    phantom.phantom = true;

    const Strings both = {"A\\BOTH = A\\BOTH!", "A\\CLASS", "A\\TWO = A\\TWO!"};
    set.appendDevices(diskClass, diskInterface, WindowsDeviceSet::ClassDevicesOnly, WinInt_Tape);
    EXPECT_EQ(contents(set), both);
    set.appendDevices(diskClass, diskInterface, 0, WinInt_Disk);
    Strings all = both;
    all.push_back("A\\INTERFACE = A\\INTERFACE!");
    EXPECT_EQ(contents(set), all) << "those of the interface alone come last";
    EXPECT_EQ(set[0].getInterfaceType(), WinInt_Tape);
    EXPECT_EQ(set[1].getInterfaceType(), WinInt_Disk) << "without a path, too; and again by the second pass";
    EXPECT_EQ(set[3].getInterfaceType(), WinInt_Disk);

    set.clear();
    set.appendDevices(nullptr, diskInterface, WindowsDeviceSet::KeepHidden, WinInt_Disk);
    EXPECT_EQ(contents(set), (Strings{"A\\BOTH = A\\BOTH!", "A\\HIDDEN = A\\HIDDEN!",
                                      "A\\INTERFACE = A\\INTERFACE!", "A\\TWO = A\\TWO!"}));
    set = WindowsDeviceSet(diskClass, nullptr, WindowsDeviceSet::KeepHidden);
    EXPECT_EQ(contents(set), (Strings{"A\\BOTH", "A\\CLASS", "A\\HIDDEN", "A\\TWO"}));
    EXPECT_EQ(set[0].getInterfaceType(), WinInt_None);
    set = WindowsDeviceSet(nullptr, nullptr, 0);
    EXPECT_EQ(contents(set),
              (Strings{"A\\BOTH", "A\\CLASS", "A\\INTERFACE", "A\\OTHER", "A\\TWO", "HTREE\\ROOT\\0"}));
}

TEST_F(DeviceSet, AsksWindowsInOrderAndNoMoreThanNeeded) {
    add(u"A\\1", diskClass, diskInterface);
    set.appendDisks();
    const std::string disk = simulation::toString(*diskInterface),
                      setupClass = simulation::toString(*diskClass);
    EXPECT_EQ(argumentsOf("SetupDiGetClassDevsW"), (Strings{disk + ", null, 18", setupClass + ", null, 2"}));
    Strings names;
    for (const std::string& name : callNames()) {
        if (name != "SetupDiGetDeviceRegistryPropertyW") names.push_back(name);
    }
    EXPECT_EQ(names,
              (Strings{"SetupDiGetClassDevsW", "SetupDiEnumDeviceInfo", "SetupDiEnumDeviceInterfaces",
                       "SetupDiGetDeviceInterfaceDetailW", "SetupDiGetDeviceInstanceIdW",
                       "SetupDiEnumDeviceInfo", "SetupDiGetClassDevsW", "SetupDiEnumDeviceInfo",
                       "SetupDiGetDeviceInstanceIdW", "SetupDiEnumDeviceInfo", "SetupDiDestroyDeviceInfoList",
                       "CM_Locate_DevNodeW", "CM_Get_DevNode_Status"}));
    EXPECT_EQ(calls("SetupDiGetDeviceRegistryPropertyW"), 8u)
        << "each pass: the size and text of the enumerator, and two names that are not there";
    forgetCalls();
    set.clear();
    EXPECT_EQ(callNames(), Strings{"SetupDiDestroyDeviceInfoList"}) << "one list for all of the class";
}

TEST_F(DeviceSet, KeepsWhatTheOtherPassFound) {
    add(u"A\\BOTH", diskClass, diskInterface);
    add(u"A\\CLASS", diskClass);
    add(u"A\\INTERFACE", nullptr, diskInterface);
    const struct {
        const char* function;
        unsigned nth;
        Strings contents;
    } cases[] = {
        {"SetupDiGetClassDevsW", 1, {"A\\BOTH", "A\\CLASS"}},
        {"SetupDiGetClassDevsW", 2, {"A\\BOTH = A\\BOTH!", "A\\INTERFACE = A\\INTERFACE!"}},
        {"SetupDiEnumDeviceInfo", 1, {"A\\BOTH", "A\\CLASS"}},
        {"SetupDiEnumDeviceInfo", 2, {"A\\BOTH = A\\BOTH!", "A\\CLASS"}},
        {"SetupDiEnumDeviceInterfaces", 1, {"A\\BOTH", "A\\CLASS", "A\\INTERFACE = A\\INTERFACE!"}},
        {"SetupDiGetDeviceInterfaceDetailW", 2, {"A\\BOTH = A\\BOTH!", "A\\CLASS"}},
        // Of a class device without an ID neither path nor kind are known. The interface pass found it, too.
        {"SetupDiGetDeviceInstanceIdW",
         3,
         {"", "A\\CLASS", "A\\BOTH = A\\BOTH!", "A\\INTERFACE = A\\INTERFACE!"}},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(testing::Message() << one.function << " " << one.nth);
        clearFaults();
        set.clear();
        failCall(one.function, ERROR_NOT_ENOUGH_MEMORY, one.nth);
        set.appendDisks();
        EXPECT_EQ(contents(set), one.contents);
    }
    EXPECT_EQ(set[0].getInterfaceType(), WinInt_None);
    clearFaults();
    set.clear();
    distort("SetupDiEnumDeviceInfo", Distortion::NothingWritten, 1, true);
    set.appendDisks();
    EXPECT_TRUE(set.empty()) << "and the enumeration ends";
    clearFaults();
    failCall("", ERROR_NOT_ENOUGH_MEMORY, 1, true);
    set.appendAllStorageDevices();
    set.appendDevices(0, 0xFFFFFFFF);
    set.appendDevices(0xFFFFFFFF, 0);
    EXPECT_TRUE(set.empty());
}

TEST_F(DeviceSet, LeavesInterfacesOutWhosePathDoesNotFit) {
    const Text fits(1021, u'p'), tooLong(1022, u'q');
    withInterface(add(u"A\\1-FITS", diskClass), *diskInterface, fits);
    withInterface(add(u"A\\2-LONG", diskClass), *diskInterface, tooLong);
    withInterface(add(u"A\\LONG\\ALONE", nullptr), *diskInterface, tooLong);
    withInterface(add(u"A\\3-EMPTY", diskClass), *diskInterface, u"");
    set.appendDisks();
    ASSERT_EQ(contents(set), (Strings{"A\\1-FITS = " + simulation::toUtf8(fits), "A\\2-LONG", "A\\3-EMPTY"}));
    set.clear();
    distort("SetupDiGetDeviceInterfaceDetailW", Distortion::SizeTooLarge, 1);
    distort("SetupDiGetDeviceInterfaceDetailW", Distortion::NoTerminator, 3);
    set.appendDisks();
    EXPECT_EQ(set[0].getOsLocator(), zorText(fits));
    EXPECT_EQ(set[2].getOsLocator().size(), 1022u) << "the buffer's last unit is the end";
}

TEST_F(DeviceSet, GivesFloppyDrivesTheirOwnPathOrElseTheirVolumes) {
    const GUID* const floppy = &GUID_DEVCLASS_FLOPPYDISK;
    const GUID* const volumeInterface = &GUID_DEVINTERFACE_VOLUME;
    add(u"F\\OWN", floppy, &GUID_DEVINTERFACE_FLOPPY);
    withInterface(add(u"F\\BOTH", floppy, &GUID_DEVINTERFACE_FLOPPY), *volumeInterface, u"volume");
    add(u"F\\VOLUME", floppy, volumeInterface);
    add(u"F\\NEITHER", floppy);
    add(u"F\\ALONE", nullptr, &GUID_DEVINTERFACE_FLOPPY);
    add(u"STORAGE\\1", &GUID_DEVCLASS_VOLUME, volumeInterface);
    const Strings expected = {"F\\BOTH = F\\BOTH!", "F\\NEITHER", "F\\OWN = F\\OWN!",
                              "F\\VOLUME = F\\VOLUME!", "F\\ALONE = F\\ALONE!"};
    set.appendFloppies();
    EXPECT_EQ(contents(set), expected) << "and no volume of another device";
    for (const WindowsDevice& device : set) EXPECT_EQ(device.getInterfaceType(), WinInt_Floppy);
    EXPECT_EQ(contents(WindowsDeviceSet(0, WinInt_Floppy)), expected);
}

// A PC with a device of each kind, and of each a second one that the device manager does not show.
class DeviceKinds : public DeviceSet {
protected:
    void SetUp() override {
        DeviceSet::SetUp();
        add(u"IDE\\DISK", diskClass, diskInterface);
        add(u"USBSTOR\\DISK", diskClass, diskInterface);
        add(u"USB\\DISK", diskClass, diskInterface);
        add(u"IDE\\CD", &GUID_DEVCLASS_CDROM, &GUID_DEVINTERFACE_CDROM);
        add(u"SCSI\\TAPE", &GUID_DEVCLASS_TAPEDRIVE, &GUID_DEVINTERFACE_TAPE);
        add(u"FDC\\FLOPPY", &GUID_DEVCLASS_FLOPPYDISK, &GUID_DEVINTERFACE_FLOPPY);
        add(u"STORAGE\\HIDDENVOLUME", &GUID_DEVCLASS_VOLUME, &GUID_DEVINTERFACE_HIDDEN_VOLUME);
        add(u"STORAGE\\VOLUME", &GUID_DEVCLASS_VOLUME, &GUID_DEVINTERFACE_VOLUME);
        add(u"PCI\\SCSI", &GUID_DEVCLASS_SCSIADAPTER);
        add(u"PCI\\IDE", &GUID_DEVCLASS_HDC);
        add(u"ACPI\\FDC", &GUID_DEVCLASS_FDC);
        add(u"ACPI\\BATTERY", nullptr, &GUID_DEVICE_BATTERY);
        add(u"DISPLAY\\MONITOR", &GUID_DEVCLASS_MONITOR, &GUID_DEVINTERFACE_MONITOR);
        add(u"PCI\\VGA", &GUID_DEVCLASS_DISPLAY, &GUID_DEVINTERFACE_DISPLAY_ADAPTER);
        add(u"ACPI\\COM", nullptr, &GUID_DEVINTERFACE_COMPORT);
        add(u"ACPI\\LPT", nullptr, &GUID_DEVINTERFACE_PARALLEL);
        add(u"PCI\\XHCI", nullptr, &GUID_DEVINTERFACE_USB_HOST_CONTROLLER);
        add(u"USB\\HUB", nullptr, &GUID_DEVINTERFACE_USB_HUB);
        add(u"USB\\DEVICE", nullptr, &GUID_DEVINTERFACE_USB_DEVICE);
        for (const DeviceNode& shown : std::deque<DeviceNode>(machine.devices())) {
            if (shown.handle == root) continue;
            DeviceNode hidden = shown;
            hidden.instanceId += u"-H";
            for (auto& one : hidden.interfaces) one.path = hidden.instanceId + u"!";
            makeHidden(hidden);
            machine.add(hidden, root);
        }
    }
};

TEST_F(DeviceKinds, AreFoundByTheirOwnOperations) {
    using Append = void (WindowsDeviceSet::*)();
    const struct {
        Append append;
        Strings contents;
        WinInterfaceType type;
    } cases[] = {
        {&WindowsDeviceSet::appendDisks,
         {"IDE\\DISK = IDE\\DISK!", "USB\\DISK = USB\\DISK!", "USBSTOR\\DISK = USBSTOR\\DISK!"},
         WinInt_Disk},
        {&WindowsDeviceSet::appendUsbDisks, {"USBSTOR\\DISK = USBSTOR\\DISK!"}, WinInt_Disk},
        {&WindowsDeviceSet::appendOpticals, {"IDE\\CD = IDE\\CD!"}, WinInt_Optical},
        {&WindowsDeviceSet::appendTapeDrives, {"SCSI\\TAPE = SCSI\\TAPE!"}, WinInt_Tape},
        {&WindowsDeviceSet::appendFloppies, {"FDC\\FLOPPY = FDC\\FLOPPY!"}, WinInt_Floppy},
        {&WindowsDeviceSet::appendVolumes,
         {"STORAGE\\VOLUME = STORAGE\\VOLUME!", "STORAGE\\VOLUME-H = STORAGE\\VOLUME-H!",
          "STORAGE\\HIDDENVOLUME = STORAGE\\HIDDENVOLUME!",
          "STORAGE\\HIDDENVOLUME-H = STORAGE\\HIDDENVOLUME-H!"},
         WinInt_Volume},
        {&WindowsDeviceSet::appendHardDiskControllers, {"PCI\\IDE", "PCI\\SCSI"}, WinInt_None},
        {&WindowsDeviceSet::appendFloppyDiskControllers, {"ACPI\\FDC"}, WinInt_None},
        {&WindowsDeviceSet::appendBatteries, {"ACPI\\BATTERY = ACPI\\BATTERY!"}, WinInt_Battery},
        {&WindowsDeviceSet::appendDisplays, {"DISPLAY\\MONITOR"}, WinInt_None},
        {&WindowsDeviceSet::appendDisplayAdapters, {"PCI\\VGA"}, WinInt_None},
        {&WindowsDeviceSet::appendComPorts,
         {"ACPI\\COM = ACPI\\COM!", "ACPI\\COM-H = ACPI\\COM-H!"},
         WinInt_ComPort},
        {&WindowsDeviceSet::appendParallelPorts,
         {"ACPI\\LPT = ACPI\\LPT!", "ACPI\\LPT-H = ACPI\\LPT-H!"},
         WinInt_ParallelPort},
    };
    for (const auto& one : cases) {
        set.clear();
        (set.*one.append)();
        EXPECT_EQ(contents(set), one.contents);
        for (const WindowsDevice& device : set)
            EXPECT_EQ(device.getInterfaceType(), one.type) << one.contents[0];
    }
    set.clear();
    set.appendAllStorageDevices();
    EXPECT_EQ(contents(set),
              (Strings{"IDE\\DISK = IDE\\DISK!", "USB\\DISK = USB\\DISK!", "USBSTOR\\DISK = USBSTOR\\DISK!",
                       "IDE\\CD = IDE\\CD!", "SCSI\\TAPE = SCSI\\TAPE!", "FDC\\FLOPPY = FDC\\FLOPPY!"}));
}

TEST_F(DeviceKinds, AreFoundByMaskWithVolumesFirst) {
    const Strings volumes = {"STORAGE\\VOLUME = STORAGE\\VOLUME!", "STORAGE\\VOLUME-H = STORAGE\\VOLUME-H!",
                             "STORAGE\\HIDDENVOLUME = STORAGE\\HIDDENVOLUME!",
                             "STORAGE\\HIDDENVOLUME-H = STORAGE\\HIDDENVOLUME-H!"};
    Strings all = volumes;
    for (const char* id : {"IDE\\DISK", "USB\\DISK", "USBSTOR\\DISK", "IDE\\CD", "SCSI\\TAPE",
                           "ACPI\\BATTERY", "PCI\\XHCI", "USB\\HUB", "USB\\DEVICE", "DISPLAY\\MONITOR",
                           "PCI\\VGA", "ACPI\\LPT", "ACPI\\COM", "FDC\\FLOPPY"}) {
        all.push_back(std::string(id) + " = " + id + "!");
    }
    set = WindowsDeviceSet(0u, 0xFFFFFFFFu);
    EXPECT_EQ(contents(set), all);
    const WinInterfaceType types[] = {
        WinInt_Disk,           WinInt_Disk,          WinInt_Disk,    WinInt_Optical,   WinInt_Tape,
        WinInt_Battery,        WinInt_USBController, WinInt_USBHub,  WinInt_USBDevice, WinInt_Display,
        WinInt_DisplayAdapter, WinInt_ParallelPort,  WinInt_ComPort, WinInt_Floppy};
    for (size_t i = 0; i < std::size(types); ++i) {
        EXPECT_EQ(set.devices()[4 + i].getInterfaceType(), types[i]) << i;
        const WindowsDeviceSet alone(0u, types[i]);
        EXPECT_EQ(contents(alone).back(), types[i] == WinInt_Disk ? all[6] : all[4 + i]) << i;
    }

    Strings usb = volumes;
    usb.insert(usb.end(), {"USB\\DISK = USB\\DISK!", "USBSTOR\\DISK = USBSTOR\\DISK!"});
    EXPECT_EQ(contents(WindowsDeviceSet(WinDev_USBStorage | WinDev_USB, WinInt_Disk | WinInt_Volume)), usb)
        << "the filter passes over volumes";
    EXPECT_EQ(contents(WindowsDeviceSet(WinDev_USBStorage, WinInt_Disk)),
              Strings{"USBSTOR\\DISK = USBSTOR\\DISK!"});
    EXPECT_EQ(contents(WindowsDeviceSet(WinDev_Other, WinInt_Floppy)), Strings{"FDC\\FLOPPY = FDC\\FLOPPY!"});
    EXPECT_EQ(contents(WindowsDeviceSet(WinDev_SBP2, WinInt_Disk)), Strings());
    forgetCalls();
    EXPECT_TRUE(WindowsDeviceSet(0u, 0xFFFFE000u).empty());
    EXPECT_EQ(callNames(), Strings()) << "no kinds that anybody knows";
}

TEST_F(DeviceKinds, AreFoundByEnumeratorWhenNoKindIsNamed) {
    set = WindowsDeviceSet(WinDev_USBStorage | WinDev_ATA | WinDev_Other | 0x80000040u, 0u);
    EXPECT_EQ(contents(set), (Strings{"IDE\\CD", "IDE\\DISK", "USBSTOR\\DISK"}));
    EXPECT_EQ(argumentsOf("SetupDiGetClassDevsW"), (Strings{"null, IDE, 6", "null, USBSTOR, 6"}));
    EXPECT_EQ(set[0].getInterfaceType(), WinInt_None);
    EXPECT_TRUE(WindowsDeviceSet(WinDev_Other, 0u).empty());

    const WindowsDeviceSet all(0u, 0u);
    EXPECT_EQ(all.size(), 20u) << "all but the hidden ones";
    EXPECT_EQ(argumentsOf("SetupDiGetClassDevsW").back(), "null, null, 6");

    set.clear();
    set.appendDevicesByEnumerator("usb", nullptr, nullptr);
    EXPECT_EQ(contents(set), (Strings{"USB\\DEVICE", "USB\\DISK", "USB\\HUB"}));
    set.clear();
    set.appendDevicesByEnumerator("uSb", diskClass, diskInterface);
    EXPECT_EQ(contents(set), Strings{"USB\\DISK = USB\\DISK!"});
    EXPECT_EQ(set[0].getInterfaceType(), WinInt_None);
    set.appendDevicesByEnumerator("IDE", diskClass, nullptr);
    set.appendDevicesByEnumerator("ACPI", nullptr, &GUID_DEVINTERFACE_COMPORT);
    set.appendDevicesByEnumerator("NONE", nullptr, nullptr);
    EXPECT_EQ(contents(set), (Strings{"USB\\DISK = USB\\DISK!", "IDE\\DISK", "ACPI\\COM = ACPI\\COM!"}));
}

// The set moves its records when it grows, and with them the texts that a caller may have taken from them.
TEST_F(DeviceSet, TakesArgumentsFromItsOwnRecords) {
    add(u"USBSTOR\\1", diskClass);
    add(u"USBSTOR\\2", diskClass, diskInterface);
    const DEVINST hub = add(u"USB\\HUB", nullptr).handle;
    SimulatedPc::add(u"USBSTOR\\3", hub, *diskClass);
    const Strings disks = {"USBSTOR\\1", "USBSTOR\\2", "USBSTOR\\3"};
    const auto startWith = [&](const char* id) {
        WindowsDeviceSet fresh;
        fresh.appendDeviceByDeviceInstanceId(id);
        set = std::move(fresh);
    };
    startWith("USBSTOR\\1");
    set.appendDevicesByEnumerator(set[0].getEnumerator(), diskClass, nullptr);
    EXPECT_EQ(contents(set), disks);
    startWith("USBSTOR\\1");
    set.appendDevicesByEnumerator(set[0].getEnumerator(), nullptr, nullptr);
    EXPECT_EQ(contents(set), disks);
    startWith("USBSTOR\\3");
    set.appendParentOf(set[0]);
    set.appendChildrenOf(set[1]);
    set.appendDeviceByDeviceInstanceId(set[1].getDeviceInstanceId());
    set.appendDevice(set[0], /*includeHidden=*/false);
    EXPECT_EQ(contents(set), (Strings{"USBSTOR\\3", "USB\\HUB"}));
}

TEST_F(DeviceSet, GathersParentAndPresentChildren) {
    const DEVINST bus = add(u"PCI\\BUS", nullptr).handle;
    SimulatedPc::add(u"USB\\1", bus).text(SPDRP_DEVICEDESC, u"first");
    makeAbsent(SimulatedPc::add(u"USB\\2", bus));
    makeHidden(SimulatedPc::add(u"USB\\3", bus));
    SimulatedPc::add(u"USB\\4", bus);
    set.appendChildrenOf(WindowsDevice("PCI\\BUS"));
    EXPECT_EQ(contents(set), (Strings{"USB\\1", "USB\\4"}));
    EXPECT_EQ(set[0].getDescription(), "first");
    set.appendParentOf(WindowsDevice("USB\\4"));
    set.appendParentOf(WindowsDevice("USB\\1"));
    EXPECT_EQ(contents(set), (Strings{"USB\\1", "USB\\4", "PCI\\BUS"}));

    set.clear();
    for (const char* id : {"", "USB\\NONE", "HTREE\\ROOT\\0"})
        set.appendParentOf(WindowsDevice(zor::String(id)));
    for (const char* id : {"", "USB\\NONE", "USB\\4"}) set.appendChildrenOf(WindowsDevice(zor::String(id)));
    makeHidden(*machine.node(bus));
    set.appendParentOf(WindowsDevice("USB\\4"));
    EXPECT_TRUE(set.empty());

    failCall("CM_Get_Device_IDW", CR_FAILURE, 1);
    set.appendChildrenOf(WindowsDevice("PCI\\BUS"));
    EXPECT_EQ(contents(set), Strings{"USB\\4"}) << "a child without an ID is left out";
    set.clear();
    clearFaults();
    distort("CM_Get_Device_IDW", Distortion::NothingWritten, 1, true);
    set.appendChildrenOf(WindowsDevice("PCI\\BUS"));
    set.appendParentOf(WindowsDevice("USB\\4"));
    EXPECT_EQ(contents(set), Strings()) << "so is one whose ID nobody wrote";
}

TEST_F(DeviceSet, ReportsItsDevicesByNumber) {
    EXPECT_EQ(set.toString(4), "");
    add(u"A\\1", nullptr).text(SPDRP_DEVICEDESC, u"%s first");
    add(u"A\\2", nullptr);
    set.appendDeviceByDeviceInstanceId("A\\1");
    set.appendDeviceByDeviceInstanceId("A\\2");
    const std::string first = plain(set[0].toString(2)), second = plain(set[1].toString(2));
    EXPECT_NE(first.find("  Description      : %s first\n"), std::string::npos);
    EXPECT_EQ(plain(set.toString(2)), "  --------------- Device[0] ---------------\n" + first +
                                          "\n  --------------- Device[1] ---------------\n" + second + "\n");
}

TEST_F(DeviceSet, SharesOneListAmongTheDevicesOfAnEnumeration) {
    for (int i = 0; i < 50; ++i)
        add(u"A\\" + simulation::fromUtf8(std::to_string(i)), diskClass, diskInterface);
    set.appendDisks();
    EXPECT_EQ(simulation::ledger().count(simulation::Resource::DeviceInfoList), 1u);
    WindowsDevice last = set[49];
    set.clear();
    EXPECT_EQ(simulation::ledger().count(simulation::Resource::DeviceInfoList), 1u);
    zor::String text;
    EXPECT_TRUE(last.getStringRegistryProperty(SPDRP_ENUMERATOR_NAME, text, RegProp_Device));
    last = WindowsDevice();
    EXPECT_EQ(simulation::ledger().count(simulation::Resource::DeviceInfoList), 0u);
}

}  // namespace
