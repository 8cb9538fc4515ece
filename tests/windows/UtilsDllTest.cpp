// The DLL's utilities on the system's own functions, where there is nothing to show: each says so, and the
// system is none the worse for it.
#include <gtest/gtest.h>

#include <algorithm>

#include "libSysmira/utils/DiskDefragmenter.h"
#include "libSysmira/utils/HelpPane.h"
#include "libSysmira/utils/HelpWindow.h"
#include "libSysmira/utils/NetworkUtils.h"
#include "libSysmira/utils/TouchProperty.h"
#include "libSysmira/utils/X64RedirectionManager.h"

namespace {

using libSysmira::DiskDefragmenter;

TEST(UtilsDll, FixedVolumesAreThose) {
    zor::Array<char> letters;
    EXPECT_TRUE(DiskDefragmenter::getFixedDiskVolumes(letters));
    EXPECT_NE(std::find(letters.begin(), letters.end(), 'C'), letters.end());
    EXPECT_EQ(std::find(letters.begin(), letters.end(), 'Q'), letters.end());
}

TEST(UtilsDll, AVolumeThatIsNotThereHasNoAnalysis) {
    DiskDefragmenter defragmenter('Q');
    libSysmira::DefragStatus status;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(defragmenter.getDefragStatusNonBlocking(status, 0), DiskDefragmenter::OperationFailed);
    }
    EXPECT_EQ(status.driveLetter, 0);
}

TEST(UtilsDll, WhatIsNotThereIsNotShown) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    for (const char* name : {"{00000000-0000-0000-0000-000000000000}", "", "no GUID"}) {
        EXPECT_FALSE(libSysmira::NetworkUtils::displayNetworkPropertiesDialog(name)) << name;
    }
    EXPECT_FALSE(libSysmira::LaunchVistaHelp("fans"));
    EXPECT_FALSE(libSysmira::LaunchVistaHelp(""));
    libSysmira::SetTouchDisableProperty(nullptr, 1);
    CoUninitialize();
    EXPECT_FALSE(libSysmira::displayHelpWindowToTopic("C:\\no such file.chm", "fans.htm"));
    EXPECT_FALSE(libSysmira::displayHelpWindowToTopic("C:\\no such file.chm", ""));
}

TEST(UtilsDll, ThereIsNoRedirectionToSwitch) {
    libSysmira::X64RedirectionManager manager;
    EXPECT_TRUE(manager.disableRedirection());
    EXPECT_TRUE(manager.restoreRedirection());
    EXPECT_FALSE(manager.isWow64Process());
}

}  // namespace
