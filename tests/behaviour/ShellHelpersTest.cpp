#include <optional>
#include "libSysmira/utils/HelpPane.h"
#include "libSysmira/utils/HelpWindow.h"
#include "libSysmira/utils/NetworkUtils.h"
#include "libSysmira/utils/TouchProperty.h"
#include "libSysmira/utils/X64RedirectionManager.h"

#include "simulation/api/ComApartments.h"
#include "support/System.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using libSysmira::displayHelpWindowToTopic;
using libSysmira::LaunchVistaHelp;
using libSysmira::NetworkUtils;
using libSysmira::SetTouchDisableProperty;
using simulation::Resource;

const Strings None;

// Keeps the thread in COM, as a caller of the shell must.
class InCom {
public:
    InCom() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~InCom() { CoUninitialize(); }
    InCom(const InCom&) = delete;
    InCom& operator=(const InCom&) = delete;
};

class ShellHelpers : public SimulatedPc {
protected:
    void TearDown() override {
        libSysmira::forgetHelpEngine();
        libSysmira::forgetWindowProperties();
        SimulatedPc::TearDown();
    }
    Strings opened() {
        Strings windows;
        windows.swap(machine.shell.opened);
        return windows;
    }
    Strings logTexts() {
        Strings texts;
        for (const LogLine& line : log) texts.push_back(std::to_string(line.priority) + ": " + line.text);
        log.clear();
        return texts;
    }
    static std::string reason(HRESULT error) {
        return plain(zor::System::getSystemErrorMsg(static_cast<DWORD>(error)));
    }
};

TEST(Redirection, HasNothingToSwitchHere) {
    libSysmira::X64RedirectionManager manager;
    EXPECT_TRUE(manager.disableRedirection());
    EXPECT_TRUE(manager.restoreRedirection());
    EXPECT_FALSE(manager.isWow64Process());
}

// Help windows

class HelpWindow : public ShellHelpers {
protected:
    void SetUp() override {
        ShellHelpers::SetUp();
        machine.files[u"C:\\guide.chm"];
    }
    void registerEngine(const RegistryValue& value) {
        machine.registry[u"HKEY_CLASSES_ROOT"]
            .make(u"CLSID\\{ADB880A6-D8FF-11CF-9377-00AA003B7A11}\\InprocServer32")
            .values[u""] = value;
    }
};

TEST_F(HelpWindow, ShowsAFileAtATopicOrAtItsBeginning) {
    simulation::addHelpEngine(machine, u"C:\\Windows\\system32\\hhctrl.ocx");
    machine.shell.foregroundWindow = reinterpret_cast<HWND>(0x20);
    EXPECT_TRUE(displayHelpWindowToTopic("C:\\guide.chm", "disks/smart.htm"));
    EXPECT_TRUE(displayHelpWindowToTopic("C:\\guide.chm", ""));
    EXPECT_EQ(opened(),
              (Strings{"help window C:\\guide.chm::/disks/smart.htm", "help window C:\\guide.chm"}));
    EXPECT_EQ(argumentsOf("HtmlHelpW")[0], "32, C:\\guide.chm::/disks/smart.htm, 0, 0")
        << "owned by the foreground window";
    EXPECT_EQ(argumentsOf("LoadLibraryW"), Strings{"C:\\Windows\\system32\\hhctrl.ocx"}) << "loaded once";
    EXPECT_FALSE(displayHelpWindowToTopic("C:\\gone.chm", "disks/smart.htm"));
}

TEST_F(HelpWindow, TheRegistryNamesTheEngine) {
    machine.environment[u"HELP"] = u"D:\\Help";
    simulation::addHelpEngine(machine, u"D:\\Help\\engine.dll");
    registerEngine(RegistryValue::text(u"%HELP%\\engine.dll", REG_EXPAND_SZ));
    EXPECT_TRUE(displayHelpWindowToTopic("C:\\guide.chm", ""));
    EXPECT_EQ(argumentsOf("LoadLibraryW"), Strings{"D:\\Help\\engine.dll"});
    libSysmira::forgetHelpEngine();
    forgetCalls();
    registerEngine(RegistryValue::text(u"D:\\Help\\engine.dll"));
    EXPECT_TRUE(displayHelpWindowToTopic("C:\\guide.chm", ""));
    EXPECT_EQ(argumentsOf("LoadLibraryW"), Strings{"D:\\Help\\engine.dll"});
}

TEST_F(HelpWindow, WhatIsNoNameMeansTheSystemsEngine) {
    simulation::addHelpEngine(machine, u"C:\\Windows\\system32\\hhctrl.ocx");
    for (const RegistryValue& value : {RegistryValue::text(u""), RegistryValue::number(5)}) {
        registerEngine(value);
        EXPECT_TRUE(displayHelpWindowToTopic("C:\\guide.chm", ""));
        libSysmira::forgetHelpEngine();
    }
}

TEST_F(HelpWindow, AnEngineThatCouldNotBeLoadedIsNotTriedAgain) {
    registerEngine(RegistryValue::text(u"C:\\gone.dll"));
    simulation::addHelpEngine(machine, u"C:\\Windows\\system32\\hhctrl.ocx");
    EXPECT_FALSE(displayHelpWindowToTopic("C:\\guide.chm", ""));
    simulation::addHelpEngine(machine, u"C:\\gone.dll");
    EXPECT_FALSE(displayHelpWindowToTopic("C:\\guide.chm", ""));

    libSysmira::forgetHelpEngine();
    machine.files[u"C:\\gone.dll"].symbols.clear();
    EXPECT_FALSE(displayHelpWindowToTopic("C:\\guide.chm", "")) << "no such entry";
    EXPECT_EQ(simulation::ledger().count(Resource::Module), 0u);
}

// The help pane

TEST_F(ShellHelpers, TheHelpPaneSearchesOrShowsItsContents) {
    machine.shell.helpPane.emplace();
    EXPECT_TRUE(LaunchVistaHelp("bad sectors"));
    EXPECT_TRUE(LaunchVistaHelp(""));
    EXPECT_EQ(opened(), (Strings{"help pane, search results for bad sectors", "help pane, contents"}));
    EXPECT_EQ(simulation::comBalanceOfAllThreads(), 0u);
    EXPECT_TRUE(log.empty());
    Strings order = callNames();
    order.resize(7);
    EXPECT_EQ(order, (Strings{"CoInitializeEx", "CoCreateInstance", "SysAllocStringLen",
                              "IHxHelpPane::DisplaySearchResults", "SysFreeString", "IHxHelpPane::Release",
                              "CoUninitialize"}));
    EXPECT_EQ(argumentsOf("CoInitializeEx"), (Strings{"0", "0"})) << "multithreaded";
    EXPECT_EQ(argumentsOf("CoCreateInstance")[0],
              "{8cec58e7-07a1-11d9-b15e-000d56bfe6ee}, 23, {8cec5884-07a1-11d9-b15e-000d56bfe6ee}");
}

TEST_F(ShellHelpers, AThreadInAnotherApartmentMayAskForTheHelpPane) {
    machine.shell.helpPane.emplace();
    const InCom com;
    EXPECT_TRUE(LaunchVistaHelp(""));
}

TEST_F(ShellHelpers, WithoutAHelpPaneTheReasonIsLogged) {
    EXPECT_FALSE(LaunchVistaHelp("bad sectors"));
    Strings lines = logTexts();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].substr(0, 27), "4: 88 Display Help failed: ");
    EXPECT_NE(lines[0].find("HRESULT = -2147221164"), std::string::npos) << lines[0];

    failCall("CoInitializeEx", E_OUTOFMEMORY);
    EXPECT_FALSE(LaunchVistaHelp(""));
    lines = logTexts();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(
        lines[0].find("4: 38 LaunchVistaHelp::CoInitialize failed, probably CoInitialize has already been "
                      "called in this thread: "),
        0u);
    EXPECT_NE(lines[0].find("HRESULT = -2147024882"), std::string::npos) << lines[0];
}

TEST_F(ShellHelpers, WhatTheHelpPaneRefusesIsLoggedInThreeLines) {
    machine.shell.helpPane.emplace();
    machine.shell.helpPane->result = E_ACCESSDENIED;
    machine.shell.helpPane->failureDescription = u"Not today";
    EXPECT_FALSE(LaunchVistaHelp("fans"));
    EXPECT_EQ(logTexts(), (Strings{"4: 80 LaunchVistaHelp::display search results failed: -2147024891",
                                   "4: 76 LaunchVistaHelp::DisplaySearchResults description: Not today",
                                   "4: 77 LaunchVistaHelp::DisplaySearchResults error message: " +
                                       reason(E_ACCESSDENIED)}));
    EXPECT_EQ(simulation::ledger().count(Resource::Bstr), 0u);
    EXPECT_FALSE(LaunchVistaHelp(""));
    EXPECT_EQ(logTexts().at(1), "4: 63 LaunchVistaHelp::DisplayContents description: Not today");
    machine.shell.helpPane->failureDescription.reset();
    EXPECT_FALSE(LaunchVistaHelp(""));
    EXPECT_EQ(logTexts(),
              (Strings{"4: 67 LaunchVistaHelp::display contents failed: -2147024891",
                       "4: 63 LaunchVistaHelp::DisplayContents description: ",
                       "4: 64 LaunchVistaHelp::DisplayContents error message: " + reason(E_ACCESSDENIED)}));
    machine.shell.helpPane->failureDescription = u"Not today";
    distort("GetErrorInfo", Distortion::NullResult);
    EXPECT_FALSE(LaunchVistaHelp(""));
    EXPECT_EQ(logTexts().at(1), "4: 63 LaunchVistaHelp::DisplayContents description: ");
    EXPECT_EQ(opened(), None);
}

// Network connections

class NetworkDialog : public ShellHelpers {
protected:
    void SetUp() override {
        ShellHelpers::SetUp();
        machine.shell.connections.emplace();
        (*machine.shell.connections)[u"{5C0E41B2-9A3D-4C6F-8E21-7A90B3D4E5F6}"] = {u"LAN"};
        com.emplace();
    }
    void TearDown() override {
        com.reset();
        ShellHelpers::TearDown();
    }
    const zor::String lan = "{5c0e41b2-9a3d-4c6f-8e21-7a90b3d4e5f6}";
    std::optional<InCom> com;
};

TEST_F(NetworkDialog, OpensThePropertiesOfAConnection) {
    EXPECT_TRUE(NetworkUtils::displayNetworkPropertiesDialog(lan));
    EXPECT_EQ(opened(),
              Strings{"properties of the network connection LAN {5C0E41B2-9A3D-4C6F-8E21-7A90B3D4E5F6}"});
    EXPECT_EQ(argumentsOf("IShellFolder::ParseDisplayName"), Strings{"::" + plain(lan)});
    EXPECT_EQ(argumentsOf("IContextMenu::InvokeCommand"), Strings{"properties, otherwise zero"});
    EXPECT_EQ(argumentsOf("CoCreateInstance"), Strings{"{7007acc7-3202-11d1-aad2-00805fc1270e}, 23, "
                                                       "{000214e6-0000-0000-c000-000000000046}"});
    EXPECT_EQ(calls("IMalloc::Free"), 1u);
}

TEST_F(NetworkDialog, EveryFailureOnTheWayIsFalseAndLeavesNothing) {
    for (const char* function : {"CoCreateInstance", "IShellFolder::ParseDisplayName",
                                 "IShellFolder::GetUIObjectOf", "IContextMenu::InvokeCommand"}) {
        failCall(function, E_FAIL);
        EXPECT_FALSE(NetworkUtils::displayNetworkPropertiesDialog(lan)) << function;
        clearFaults();
        EXPECT_EQ(simulation::ledger().count(Resource::ItemIdentifier), 0u) << function;
    }
    EXPECT_FALSE(NetworkUtils::displayNetworkPropertiesDialog("{00000000-0000-0000-0000-000000000000}"));
    EXPECT_FALSE(NetworkUtils::displayNetworkPropertiesDialog(""));
    EXPECT_EQ(opened(), None);
    machine.shell.connections.reset();
    EXPECT_FALSE(NetworkUtils::displayNetworkPropertiesDialog(lan)) << "no such folder";
}

TEST_F(NetworkDialog, WithoutAnAllocatorItFailsThoughTheDialogIsOpen) {
    failCall("SHGetMalloc", E_OUTOFMEMORY);
    EXPECT_FALSE(NetworkUtils::displayNetworkPropertiesDialog(lan));
    EXPECT_EQ(opened().size(), 1u);
    EXPECT_EQ(simulation::ledger().count(Resource::ItemIdentifier), 0u);
}

// Touch

TEST_F(ShellHelpers, TouchIsDisabledAndAllowedAgain) {
    const InCom com;
    const auto window = reinterpret_cast<HWND>(0x30);
    SetTouchDisableProperty(window, 1);
    EXPECT_EQ(calls("SHGetPropertyStoreForWindow"), 0u) << "a Windows that has no such function";

    libSysmira::forgetWindowProperties();
    forgetCalls();
    simulation::addWindowProperties(machine);
    machine.shell.windows[window];
    SetTouchDisableProperty(window, 5);
    EXPECT_EQ(machine.shell.windows[window], true);
    SetTouchDisableProperty(window, 0);
    EXPECT_EQ(machine.shell.windows[window], false);
    EXPECT_EQ(argumentsOf("IPropertyStore::SetValue"),
              (Strings{"{32ce38b2-2c9a-41b1-9bc5-b3784394aa44}, 2, 11, -1",
                       "{32ce38b2-2c9a-41b1-9bc5-b3784394aa44}, 2, 11, 0"}));
    SetTouchDisableProperty(nullptr, 1);
    failCall("SHGetPropertyStoreForWindow", E_OUTOFMEMORY);
    SetTouchDisableProperty(window, 1);
    EXPECT_EQ(machine.shell.windows[window], false);
    EXPECT_EQ(calls("LoadLibraryW"), 1u);
}

}  // namespace
