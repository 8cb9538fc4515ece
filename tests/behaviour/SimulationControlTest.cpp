// The simulated PC itself: journal, faults and ledger, and the rules that its own functions follow.
#include "simulation/api/DebuggerOutput.h"
#include "simulation/control/Clock.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

class SimulationControl : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        simulation::RegistryKey& key = machine.localMachine().make(u"Software\\Test");
        key.values[u""] = RegistryValue::text(u"default");
        key.values[u"Text"] = RegistryValue::text(u"four");  // ten bytes
        key.keys[u"Denied"].denied = true;
        machine.files[u"C:\\Windows\\system32\\robot.dll"].image = true;
        machine.files[u"C:\\Windows\\system32\\robot.dll"].symbols["raise"] = &machine;
        machine.files[u"C:\\Windows\\system32\\notes.txt"].attributes = FILE_ATTRIBUTE_READONLY;
    }

    // The code; the key when it is 0.
    static LSTATUS open(HKEY parent, const WCHAR* path, HKEY& key) {
        key = nullptr;
        return RegOpenKeyExW(parent, path, 0, KEY_READ, &key);
    }
    static HKEY opened(const WCHAR* path) {
        HKEY key = nullptr;
        EXPECT_EQ(open(HKEY_LOCAL_MACHINE, path, key), ERROR_SUCCESS);
        return key;
    }

    // What the ledger objects to in `work`, instead of failing the test.
    template <class Work>
    static std::string violationsOf(Work&& work) {
        std::string violations;
        simulation::ledger().setViolationHandler([&](const std::string& text) { violations += text + "\n"; });
        work();
        simulation::ledger().setViolationHandler([](const std::string& text) { ADD_FAILURE() << text; });
        return violations;
    }
};

TEST_F(SimulationControl, KeepsAJournalOfCallsArgumentsAndResults) {
    forgetCalls();
    const HKEY key = opened(L"Software\\Test");
    EXPECT_EQ(RegQueryValueExW(key, L"None", nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
    RegCloseKey(key);
    ASSERT_EQ(callNames(), (Strings{"RegOpenKeyExW", "RegQueryValueExW", "RegCloseKey"}));
    const auto& journal = simulation::control().journal();
    EXPECT_EQ(journal[0].result, "0");
    EXPECT_NE(journal[0].arguments.find("Software\\Test"), std::string::npos) << journal[0].arguments;
    EXPECT_EQ(journal[1].result, "2");
    EXPECT_EQ(calls("RegCloseKey"), 1u);
}

TEST_F(SimulationControl, FailsTheCallsThatAFaultNames) {
    const HKEY key = opened(L"Software\\Test");
    const auto query = [&] { return RegQueryValueExW(key, L"Text", nullptr, nullptr, nullptr, nullptr); };
    failCall("RegQueryValueExW", ERROR_ACCESS_DENIED, 2);
    EXPECT_FALSE(simulation::control().faultWasGiven());
    EXPECT_EQ(query(), ERROR_SUCCESS);
    EXPECT_EQ(query(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(query(), ERROR_SUCCESS);
    EXPECT_TRUE(simulation::control().faultWasGiven());
    clearFaults();
    failCall("", ERROR_GEN_FAILURE, 2, /*onwards=*/true);
    EXPECT_EQ(query(), ERROR_SUCCESS);
    EXPECT_EQ(query(), ERROR_GEN_FAILURE);
    // How a function tells of failure is its own: last error with a null, zero or minus one.
    EXPECT_EQ(GetFileAttributesW(L"C:\\Windows\\system32\\notes.txt"), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_GEN_FAILURE));
    EXPECT_EQ(LoadLibraryW(L"robot"), nullptr);
    clearFaults();
    EXPECT_EQ(query(), ERROR_SUCCESS);
    RegCloseKey(key);
}

TEST_F(SimulationControl, DeceivesAboutSizesAndTerminators) {
    const HKEY key = opened(L"Software\\Test");
    const struct {
        Distortion distortion;
        DWORD size;
        char16_t lastUnit;
    } cases[] = {
        {Distortion::None, 10, 0},           {Distortion::NothingWritten, 10, u'?'},
        {Distortion::SizeTooLarge, 4106, 0}, {Distortion::SizeZero, 0, 0},
        {Distortion::OddSize, 9, 0},         {Distortion::NoTerminator, 10, u'x' << 8 | u'x'},
    };
    for (const auto& [distortion, size, lastUnit] : cases) {
        if (distortion != Distortion::None) distort("RegQueryValueExW", distortion);
        char16_t text[5] = {u'?', u'?', u'?', u'?', u'?'};
        DWORD told = sizeof text;
        EXPECT_EQ(RegQueryValueExW(key, L"Text", nullptr, nullptr, reinterpret_cast<BYTE*>(text), &told),
                  ERROR_SUCCESS);
        EXPECT_EQ(told, size);
        EXPECT_EQ(text[4], lastUnit) << static_cast<unsigned>(distortion);
        clearFaults();
    }
    RegCloseKey(key);
    distort("RegOpenKeyExW", Distortion::NullResult);
    EXPECT_EQ(opened(L"Software\\Test"), nullptr);
}

TEST_F(SimulationControl, FindsHandlesThatAreMisused) {
    const HKEY key = opened(L"Software\\Test");
    const HMODULE module = LoadLibraryW(L"robot.dll");
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(simulation::ledger().describe(), "registry key of RegOpenKeyExW\nmodule of LoadLibraryW\n");
    EXPECT_EQ(violationsOf([&] { CloseHandle(key); }),
              "CloseHandle was given a registry key of RegOpenKeyExW where it takes a file\n");
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    EXPECT_EQ(violationsOf([&] { EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE); }),
              "RegCloseKey was given a closed registry key of RegOpenKeyExW\n");
    EXPECT_EQ(violationsOf([&] {
                  EXPECT_EQ(RegQueryValueExW(key, L"", nullptr, nullptr, nullptr, nullptr),
                            ERROR_INVALID_HANDLE);
              }),
              "RegQueryValueExW was given a closed registry key of RegOpenKeyExW\n");
    // What was never a handle is no misuse of one.
    EXPECT_EQ(violationsOf([] { EXPECT_EQ(RegCloseKey(nullptr), ERROR_INVALID_HANDLE); }), "");
    // A closing that is made to fail closes all the same.
    failCall("FreeLibrary", ERROR_INVALID_HANDLE);
    EXPECT_FALSE(FreeLibrary(module));
    EXPECT_TRUE(simulation::ledger().empty());
}

TEST_F(SimulationControl, OpensKeysAsWindowsDoes) {
    const struct {
        HKEY parent;
        const WCHAR* path;
        LSTATUS code;
    } cases[] = {
        {HKEY_LOCAL_MACHINE, L"software\\TEST\\", ERROR_SUCCESS},
        {HKEY_LOCAL_MACHINE, nullptr, ERROR_SUCCESS},
        {HKEY_CURRENT_USER, L"", ERROR_SUCCESS},  // nobody put anything there
        {HKEY_CURRENT_USER, L"Software", ERROR_FILE_NOT_FOUND},
        {HKEY_LOCAL_MACHINE, L"Software\\None", ERROR_FILE_NOT_FOUND},
        {HKEY_LOCAL_MACHINE, L"\\Software", ERROR_BAD_PATHNAME},
        {HKEY_LOCAL_MACHINE, L"Software\\Test\\Denied", ERROR_ACCESS_DENIED},
        {nullptr, L"Software", ERROR_INVALID_HANDLE},
    };
    for (const auto& [parent, path, code] : cases) {
        HKEY key = nullptr;
        EXPECT_EQ(open(parent, path, key), code) << simulation::toArgument(path);
        EXPECT_EQ(key != nullptr, code == ERROR_SUCCESS);
        EXPECT_TRUE(key == nullptr || RegCloseKey(key) == ERROR_SUCCESS);
    }
    // A root is its own handle; below an open key paths go on.
    HKEY key = nullptr;
    EXPECT_EQ(open(HKEY_LOCAL_MACHINE, L"", key), ERROR_SUCCESS);
    EXPECT_EQ(key, HKEY_LOCAL_MACHINE);
    const HKEY software = opened(L"Software");
    EXPECT_EQ(open(software, L"Test", key), ERROR_SUCCESS);
    RegCloseKey(software);
    EXPECT_EQ(RegQueryValueExW(key, L"Text", nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    machine.localMachine().keys.erase(u"Software");
    EXPECT_EQ(RegQueryValueExW(key, L"Text", nullptr, nullptr, nullptr, nullptr), ERROR_KEY_DELETED);
    RegCloseKey(key);
}

TEST_F(SimulationControl, TellsTheSizeOfAValueInBytes) {
    const HKEY key = opened(L"Software\\Test");
    BYTE data[16] = {};
    DWORD type = 0, size = 4;
    EXPECT_EQ(RegQueryValueExW(key, L"text", nullptr, &type, data, &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, 10u);
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(data[0], 0) << "nothing is copied that does not fit whole";
    size = 0;
    EXPECT_EQ(RegQueryValueExW(key, L"Text", nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, 10u);
    EXPECT_EQ(RegQueryValueExW(key, L"Text", nullptr, nullptr, data, nullptr), ERROR_INVALID_PARAMETER);
    size = sizeof data;
    EXPECT_EQ(RegQueryValueExW(key, nullptr, nullptr, nullptr, data, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, 16u);
    RegCloseKey(key);
}

TEST_F(SimulationControl, FindsFilesFoldersAndModules) {
    const struct {
        const WCHAR* path;
        DWORD attributes, error;
    } files[] = {
        {L"c:/windows/SYSTEM32/Notes.txt", FILE_ATTRIBUTE_READONLY, 0},
        {L"C:\\Windows", FILE_ATTRIBUTE_DIRECTORY, 0},
        {L"C:\\Windows\\system32\\", FILE_ATTRIBUTE_DIRECTORY, 0},
        {L"C:\\Windows\\sys", INVALID_FILE_ATTRIBUTES, ERROR_FILE_NOT_FOUND},
        {L"C:\\Temp\\a.txt", INVALID_FILE_ATTRIBUTES, ERROR_PATH_NOT_FOUND},
        {L"", INVALID_FILE_ATTRIBUTES, ERROR_PATH_NOT_FOUND},
    };
    for (const auto& [path, attributes, error] : files) {
        SetLastError(0);
        EXPECT_EQ(GetFileAttributesW(path), attributes) << simulation::toArgument(path);
        EXPECT_EQ(GetLastError(), error) << simulation::toArgument(path);
    }
    for (const WCHAR* const name : {L"robot", L"ROBOT.DLL", L"C:\\Windows\\system32\\robot.dll"}) {
        const HMODULE module = LoadLibraryExW(name, nullptr, LOAD_LIBRARY_AS_DATAFILE);
        EXPECT_NE(module, nullptr) << simulation::toArgument(name);
        EXPECT_EQ(reinterpret_cast<void*>(GetProcAddress(module, "raise")), &machine);
        EXPECT_EQ(GetProcAddress(module, "lower"), nullptr);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PROC_NOT_FOUND));
        EXPECT_TRUE(FreeLibrary(module));
    }
    EXPECT_EQ(LoadLibraryW(L"notes.txt"), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_BAD_EXE_FORMAT));
    EXPECT_EQ(LoadLibraryW(L"nobody-has-this"), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
}

TEST_F(SimulationControl, ResetsEverything) {
    Sleep(1500);
    OutputDebugStringW(L"h\u00E4");
    EXPECT_EQ(simulation::sleptMilliseconds(), 1500u);
    EXPECT_EQ(simulation::debuggerOutput(), "h\xC3\xA4");
    failCall("", ERROR_GEN_FAILURE, 1, /*onwards=*/true);
    simulation::reset();
    EXPECT_EQ(simulation::sleptMilliseconds(), 0u);
    EXPECT_EQ(simulation::debuggerOutput(), "");
    EXPECT_TRUE(simulation::control().journal().empty());
    HKEY key = nullptr;
    EXPECT_EQ(open(HKEY_LOCAL_MACHINE, L"Software\\Test", key), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(machine.root(), 0u);
}

}  // namespace
