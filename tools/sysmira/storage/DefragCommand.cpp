#include "tools/sysmira/storage/DefragCommand.h"

#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>

#include "libSysmira/enumeration/Volume.h"
#include "libSysmira/utils/DiskDefragmenter.h"
#include "libSysmira/wmi/Wmi.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/Interruption.h"
#include "tools/sysmira/Progress.h"
#include "tools/sysmira/Target.h"
#include "tools/sysmira/storage/VolumeFacts.h"
#include "tools/sysmira/text/Fields.h"
#include "tools/sysmira/wmi/ComErrorNames.h"

namespace sysmira {

using libSysmira::DefragStatus;
using libSysmira::DiskDefragmenter;
using libSysmira::Volume;
using Json = nlohmann::ordered_json;

namespace {

// How long one poll waits: Ctrl+C is seen between two.
constexpr unsigned pollMs = 200;

std::string fixedVolumes() {
    zor::Array<char> letters;
    DiskDefragmenter::getFixedDiskVolumes(letters);
    return {letters.begin(), letters.end()};
}

void listVolumes(Output& output) {
    const std::string letters = fixedVolumes();
    Json list = Json::array();
    std::string text;
    for (const char letter : letters) {
        const Volume volume(letter);
        list.push_back(std::string{letter, ':'});
        text += titleOf(volume) + "\n";
    }
    if (output.wantsJson()) return output.printDocument({{"volumes", std::move(list)}});
    if (letters.empty()) return output.remark("there are no fixed volumes");
    output.print(text);
}

// The letter, in upper case.
char letterOf(const std::string& name) {
    const std::string rest = name.substr(std::min<std::size_t>(1, name.size()));
    const char letter = name.empty() ? '\0' : static_cast<char>(name[0] & ~0x20);
    if (letter < 'A' || letter > 'Z' || (rest != "" && rest != ":" && rest != ":\\")) {
        throw CommandFailure(WrongUsage, "found \"" + name +
                                             "\", expected the letter of a volume, as in: "
                                             "sysmira defrag C");
    }
    if (fixedVolumes().find(letter) == std::string::npos) {
        throw CommandFailure(NotRead, std::string{letter} +
                                          ": is no fixed volume; \"sysmira defrag\" lists those "
                                          "that there are");
    }
    return letter;
}

[[noreturn]] void fail(char letter, const std::string& reason) {
    throw CommandFailure(NotRead, std::string("the analysis of ") + letter + ": failed: " + reason);
}

std::string lastWmiResult() { return describeResult(libSysmira::getLastWmiResult()); }

// What the method's return values mean (Microsoft, DefragAnalysis).
std::string describeReturnValue(unsigned value) {
    static constexpr const char* meanings[] = {"success",
                                               "access denied",
                                               "not supported",
                                               "the volume is marked dirty",
                                               "not enough free space",
                                               "the master file table is corrupt",
                                               "the call was cancelled",
                                               "the cancellation came too late",
                                               "the defragmentation engine is running already",
                                               "the defragmentation engine cannot be reached",
                                               "the defragmentation engine failed",
                                               "unknown error"};
    const std::string number = "DefragAnalysis returned " + std::to_string(value);
    return value < std::size(meanings) ? number + " (" + meanings[value] + ")" : number;
}

// The method's own code where the call itself went well.
std::string reasonOf(const DiskDefragmenter& defragmenter) {
    unsigned returned = 0;
    if (defragmenter.getMethodReturnValue(returned)) {
        const std::string value = describeReturnValue(returned);
        return returned != 0 ? value : value + ", but no figures that can be read";
    }
    if (FAILED(libSysmira::getLastWmiResult())) return lastWmiResult();
    return "WMI reported success and returned nothing";
}

DefragStatus analyse(char letter, Output& output) {
    std::unique_ptr<DiskDefragmenter> defragmenter;
    try {
        defragmenter = std::make_unique<DiskDefragmenter>(letter);
    } catch (const libSysmira::InitializationError&) {
        fail(letter, lastWmiResult());
    }
    const InterruptionNoted interruption;
    const Progress progress(output.errors(), std::string("analysing ") + letter + ":");
    DefragStatus status;
    while (true) {
        const auto step = defragmenter->getDefragStatusNonBlocking(status, pollMs);
        if (step == DiskDefragmenter::OperationComplete) return status;
        if (step == DiskDefragmenter::OperationFailed) fail(letter, reasonOf(*defragmenter));
        if (InterruptionNoted::happened()) {
            throw CommandFailure(NotRead,
                                 std::string("the analysis of ") + letter + ": was left before its end");
        }
        keepPace(pollMs);
    }
}

std::string percent(unsigned value) { return std::to_string(value) + " %"; }

}  // namespace

void runDefrag(const DefragRequest& request, Output& output) {
    if (request.volume.empty()) return listVolumes(output);
    const char letter = letterOf(request.volume);
    const DefragStatus status = analyse(letter, output);
    if (output.wantsJson()) {
        return output.printDocument(
            {{"volume", std::string{letter, ':'}},
             {"defragmentationRecommended", status.defragRecommended},
             {"totalFragmentationPercent", status.totalPercentFragmentation},
             {"fileFragmentationPercent", status.filePercentFragmentation},
             {"freeSpaceFragmentationPercent", status.freeSpacePercentFragmentation}});
    }
    Fields fields;
    fields.add("Defragmentation", status.defragRecommended ? "recommended" : "not needed");
    fields.add("Total fragmentation", percent(status.totalPercentFragmentation));
    fields.add("File fragmentation", percent(status.filePercentFragmentation));
    fields.add("Free-space fragmentation", percent(status.freeSpacePercentFragmentation));
    output.print(titleOf(Volume(letter)) + "\n" + fields.toText(2));
}

}  // namespace sysmira
