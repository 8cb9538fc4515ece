#include "tools/sysmira/storage/VolumesCommand.h"

#include <nlohmann/json.hpp>

#include "tools/sysmira/storage/VolumeFacts.h"

namespace sysmira {

using libSysmira::Volume;

void runVolumes(Output& output) {
    zor::Array<Volume> volumes;
    Volume::findAllVolumes(volumes);
    std::string text;
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Volume& volume : volumes) {
        const VolumeFacts facts = readVolume(volume);
        if (output.wantsJson()) {
            list.push_back(toJson(facts));
        } else {
            text +=
                (text.empty() ? "" : "\n") + titleOf(volume) + "\n" + toFields(facts).toText(/*indent=*/2);
        }
    }
    if (output.wantsJson()) return output.printDocument({{"volumes", std::move(list)}});
    if (volumes.empty()) return output.remark("Windows lists no volumes");
    output.print(text);
}

}  // namespace sysmira
