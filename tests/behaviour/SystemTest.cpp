// The services of the operating system: messages, environment, paths, file versions, libraries, locks.
#include "support/System.h"

#include "support/DynamicLibrary.h"
#include "support/FileSystem.h"
#include "support/RaisedException.h"
#include "support/WindowsFile.h"
#include "support/mutex.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

using zor::FileSystem;
using zor::String;
using zor::System;

class SystemServices : public SimulatedPc {};

TEST_F(SystemServices, TellErrorsInWords) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    const String denied = System::getSystemErrorMsg(ERROR_ACCESS_DENIED, false);
    EXPECT_NE(denied.find("denied"), zor::NotFound) << plain(denied);
    EXPECT_EQ(String(denied).trim(), denied);
    EXPECT_EQ(System::getSystemErrorMsg(ERROR_ACCESS_DENIED, true), denied + " (5)");
    EXPECT_EQ(System::getSystemErrorMsg(0xE0FFEE00, true), String("Unknown error 0xE0FFEE00 (3774868992)"));
    EXPECT_EQ(System::getSystemError(), static_cast<zor::Uint32>(ERROR_FILE_NOT_FOUND));
}

TEST_F(SystemServices, ReadTheEnvironmentWhateverItsLength) {
    for (const size_t length : {0u, 1u, 254u, 255u, 256u, 257u, 5000u}) {
        machine.environment[u"ZOR_TEST"] = Text(length, u'x');
        EXPECT_EQ(System::getEnvironmentVariable("ZOR_TEST").size(), length);
        EXPECT_EQ(System::expandEnvironment("%ZOR_TEST%y").size(), length + 1);
    }
    EXPECT_TRUE(System::getEnvironmentVariable("ZOR_ABSENT").empty());
    EXPECT_EQ(System::expandEnvironment("%ZOR_ABSENT%\\100%"), String("%ZOR_ABSENT%\\100%"));
}

TEST(Paths, AreJoinedByTheirTexts) {
    const struct {
        const char *path, *base, *joined, *normalised;
    } cases[] = {
        {"system32", "C:\\Windows", "C:\\Windows\\system32", "C:\\Windows\\system32"},
        {"Pdh.dll", "C:\\Windows\\", "C:\\Windows\\Pdh.dll", "C:\\Windows\\Pdh.dll"},
        {"D:\\x\\", "C:\\Windows", "D:\\x\\", "D:\\x"},
        {"\\x", "C:\\Windows", "C:\\x", "C:\\x"},
        {"\\x", "\\\\server\\share\\deep", "\\\\server\\share\\x", "\\\\server\\share\\x"},
        {"//server/share/../x", "C:\\", "//server/share/../x", "\\\\server\\share\\x"},
        {"..\\.\\b//c\\", "C:\\a", "C:\\a\\..\\.\\b//c\\", "C:\\b\\c"},
        {"..\\..\\..", "C:\\a", "C:\\a\\..\\..\\..", "C:\\"},
        {"..\\..\\x", "a", "a\\..\\..\\x", "..\\x"},
        {"", "C:\\a", "C:\\a", "C:\\a"},
        {"a", "", "a", "a"},
        {"\\\\?\\C:\\a\\..\\b", "D:\\", "\\\\?\\C:\\a\\..\\b", "\\\\?\\C:\\a\\..\\b"},
        {"", "", "", ""},
    };
    for (const auto& [path, base, joined, normalised] : cases) {
        EXPECT_EQ(plain(FileSystem::getAbsolutePath(path, base, false)), joined);
        EXPECT_EQ(plain(FileSystem::getAbsolutePath(path, base, true)), normalised);
    }
}

class Files : public SimulatedPc {
protected:
    // The version of a file whose resource has these bytes; "none" when there is none.
    std::string versionOf(const simulation::File& file) {
        machine.files[u"C:\\driver.sys"] = file;
        String version("before");
        const bool found = zor::WindowsFile("C:\\driver.sys").getFileVersion(version);
        EXPECT_TRUE(found || version.empty());
        return found ? plain(version) : "none";
    }
};

TEST_F(Files, HaveAVersionOrNone) {
    simulation::File file;
    EXPECT_EQ(versionOf(file), "none");
    file.version = 0x000A00004A61FFFFull;
    EXPECT_EQ(versionOf(file), "10.0.19041.65535");
    EXPECT_TRUE(FileSystem::exists("C:\\driver.sys"));
    EXPECT_FALSE(FileSystem::exists("C:\\missing.sys"));
    String version("before");
    EXPECT_FALSE(zor::WindowsFile("C:\\missing.sys").getFileVersion(version));
    EXPECT_TRUE(version.empty());
    EXPECT_EQ(zor::WindowsFile("..\\x").getFileName(), String("..\\x"));
}

TEST_F(Files, HaveNoVersionWhenTheResourceIsDamaged) {
    for (const size_t size : {1u, 6u, 40u, 91u, 92u, 200u}) {
        for (const unsigned char fill : {0x00, 0x41, 0xFF}) {
            simulation::File file;
            file.versionBlock = simulation::Bytes(size, fill);
            EXPECT_EQ(versionOf(file), "none") << size;
        }
    }
    // Lengths (92 and 52) and place as they should be: a block that is whole, and one cut short.
    simulation::File file;
    file.versionBlock = simulation::Bytes(92, 0x11);
    const unsigned char lengths[] = {92, 0, 52, 0};
    std::copy(lengths, lengths + 4, file.versionBlock->begin());
    EXPECT_EQ(versionOf(file), "none") << "without the signature";
    const unsigned char signature[] = {0xBD, 0x04, 0xEF, 0xFE};
    std::copy(signature, signature + 4, file.versionBlock->begin() + 40);
    EXPECT_EQ(versionOf(file), "4369.4369.4369.4369");
    file.versionBlock->resize(91);
    EXPECT_EQ(versionOf(file), "none") << "cut short";
}

class Libraries : public SimulatedPc {};

TEST_F(Libraries, AreLoadedOnRequestAndGivenBack) {
    int symbol = 0;
    simulation::File& file = machine.files[u"C:\\Windows\\system32\\module.dll"];
    file.image = true;
    file.symbols["Known"] = &symbol;
    {
        zor::DynamicLibrary library("C:\\Windows\\system32\\module.dll");
        EXPECT_EQ(library.getSymbol("Known"), nullptr);
        EXPECT_FALSE(library.isLoaded());
        ASSERT_TRUE(library.load());
        EXPECT_TRUE(library.load());
        EXPECT_EQ(calls("LoadLibraryW"), 1u);
        EXPECT_EQ(reinterpret_cast<void*>(library.getSymbol("Known")), &symbol);
        EXPECT_EQ(library.getSymbol("Unknown"), nullptr);
        EXPECT_EQ(library.getSymbol(static_cast<const char*>(nullptr)), nullptr);
        EXPECT_EQ(library.getSymbol(static_cast<unsigned short>(0)), nullptr);
    }
    EXPECT_TRUE(simulation::ledger().empty());
    zor::DynamicLibrary missing("C:\\Windows\\system32\\missing.dll");
    EXPECT_FALSE(missing.load());
    EXPECT_EQ(System::getSystemError(), static_cast<zor::Uint32>(ERROR_MOD_NOT_FOUND));
}

}  // namespace
