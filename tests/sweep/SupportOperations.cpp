#include "support/DescriptorStorage.h"
#include "support/DynamicLibrary.h"
#include "support/FileHandleResManager.h"
#include "support/FileSystem.h"
#include "support/SharedResource.h"
#include "support/System.h"
#include "support/WindowsFile.h"
#include "support/WindowsRegistry.h"
#include "support/WindowsRegistryException.h"
#include "support/WindowsRegistryReader.h"
#include "tests/sweep/Operations.h"

namespace sweep {

namespace {

const zor::String key = "HKEY_LOCAL_MACHINE\\Software\\Sweep";

void systemPc(simulation::Machine& machine) {
    using simulation::RegistryValue;
    simulation::RegistryKey& values = machine.localMachine().make(u"Software\\Sweep");
    values.values[u"Text"] = RegistryValue::text(u"text");
    values.values[u"Path"] = RegistryValue::text(u"%ROOT%\\x", REG_EXPAND_SZ);
    values.values[u"Names"] = RegistryValue::texts({u"one", u"two %ROOT%"});
    machine.environment[u"ROOT"] = u"C:\\Root";
    simulation::File& module = machine.files[u"C:\\Windows\\system32\\sweep.dll"];
    module.version = 0x0001000200030004ull;
    module.image = true;
    module.symbols["Function"] = &module;
}

Result text(const zor::String& value) { return {!value.empty(), plain(value)}; }
Result truth(bool value) { return {true, std::to_string(value)}; }

Result openFile() {
    using File = zor::SharedResource<zor::DescriptorStorage<HANDLE, -1, zor::FileHandleResManager>, 0>;
    zor::CreateFileOpenArgs arguments;
    arguments.path = "C:\\Windows\\system32\\sweep.dll";
    arguments.access = GENERIC_READ;
    const File file(zor::FileHandleResManager::open(arguments));
    return truth(file.isValid());
}

Result loadLibrary() {
    zor::DynamicLibrary library("C:\\Windows\\system32\\sweep.dll");
    const bool loaded = library.load();
    return {loaded, library.getSymbol("Function") != nullptr ? "symbol" : ""};
}

Result names() {
    try {
        return {true,
                plain(zor::WindowsRegistry::getMultiStringValue(key, "Names", /*expandReferences=*/true))};
    } catch (const zor::WindowsRegistryException&) {
        return {false, ""};
    }
}

}  // namespace

std::vector<Operation> supportOperations() {
    return {
        {"SupportErrorMessage", systemPc, [] { return text(zor::System::getSystemErrorMsg(5, true)); },
         anyOf({"Unknown error 0x00000005 (5)"})},
        {"SupportEnvironmentVariable", systemPc,
         [] { return text(zor::System::getEnvironmentVariable("ROOT")); }, clearedOnFailure()},
        {"SupportExpandEnvironment", systemPc,
         [] { return text(zor::System::expandEnvironment("%ROOT%\\x")); }, anyOf({"%ROOT%\\x"})},
        {"SupportFileExists", systemPc,
         [] { return truth(zor::FileSystem::exists("C:\\Windows\\system32\\sweep.dll")); }, anyOf({"0"})},
        {"SupportFileVersion", systemPc,
         [] {
             zor::String version(before);
             const bool success =
                 zor::WindowsFile("C:\\Windows\\system32\\sweep.dll").getFileVersion(version);
             return Result{success, plain(version)};
         },
         clearedOnFailure()},
        {"SupportOpenFile", systemPc, openFile, anyOf({"0"})},
        {"SupportLoadLibrary", systemPc, loadLibrary, anyOf({""})},
        {"SupportKeyExists", systemPc, [] { return truth(zor::WindowsRegistryReader().keyExists(key)); },
         anyOf({"0"})},
        {"SupportStringValueExists", systemPc,
         [] { return truth(zor::WindowsRegistryReader().stringValueExists(key, "Text")); }, anyOf({"0"})},
        {"SupportStringValue", systemPc,
         [] { return text(zor::WindowsRegistryReader().getStringValue(key, "Text")); }, clearedOnFailure()},
        {"SupportExpandStringValueExists", systemPc,
         [] { return truth(zor::WindowsRegistryReader().toExpandStringValueExists(key, "Path")); },
         anyOf({"0"})},
        // What cannot be expanded stays as it is written in the registry.
        {"SupportExpandedStringValue", systemPc,
         [] { return text(zor::WindowsRegistryReader().getExpandedStringValue(key, "Path")); },
         anyOf({"", "%ROOT%\\x"})},
        {"SupportRegistryKeyExists", systemPc, [] { return truth(zor::WindowsRegistry::keyExists(key)); },
         anyOf({"0"})},
        {"SupportMultiStringValueExists", systemPc,
         [] { return truth(zor::WindowsRegistry::multiStringValueExists(key, "Names")); }, anyOf({"0"})},
        {"SupportMultiStringValue", systemPc, names, anyOf({"", "one\ntwo %ROOT%\n"})},
    };
}

const std::vector<Operation>& operations() {
    static const std::vector<Operation> all = [] {
        std::vector<Operation> table;
        for (const auto& part :
             {supportOperations(), counterOperations(), deviceRecordOperations(), deviceSetOperations(),
              deviceTreeOperations(), displayOperations(), driverPackageOperations(), eventOperations(),
              storageOperations(), utilityOperations(), wmiOperations()}) {
            table.insert(table.end(), part.begin(), part.end());
        }
        return table;
    }();
    return all;
}

}  // namespace sweep
