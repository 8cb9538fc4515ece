#include "tools/sysmira/storage/DriveLock.h"

#include <nlohmann/json.hpp>

#include "support/System.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/Interruption.h"
#include "tools/sysmira/storage/VolumeFacts.h"
#include "tools/sysmira/text/PrintableText.h"

namespace sysmira {

using libSysmira::Volume;
using nlohmann::ordered_json;

namespace {

// After Volume::lockVolume, whose last call that matters is the opening or the last try. Windows refuses a
// lock with ERROR_ACCESS_DENIED while the volume is in use, and the open without the rights.
std::string whyRefused(DWORD error) {
    switch (error) {
        case ERROR_ACCESS_DENIED:
            return "refused: it is in use, or the rights of an administrator are missing";
        case ERROR_NOT_READY:
            return "refused: no medium is there";
        default:
            return "refused: " + printable(zor::System::getSystemErrorMsg(error).trim());
    }
}

// The volumes of a drive, and how far they have come. Unlocks what it has locked when it goes.
class Locking {
public:
    Locking(const KnownDrive& drive, Output& output) : m_output(output) {
        for (const Volume& volume : drive.drive.volumes()) m_volumes.push_back({volume});
    }
    ~Locking() {
        for (Entry& entry : m_volumes) {
            if (entry.locked && !entry.unlockTried) entry.volume.unlockVolume();
        }
    }
    Locking(const Locking&) = delete;
    Locking& operator=(const Locking&) = delete;

    bool empty() const { return m_volumes.empty(); }

    // Stops at the first that cannot be locked, and on Ctrl+C.
    void lock() {
        for (Entry& entry : m_volumes) {
            if (InterruptionNoted::happened()) return;
            say("locking " + titleOf(entry.volume) + " ... ");
            entry.locked = entry.volume.lockVolume();
            const DWORD error = GetLastError();
            say(entry.locked ? "locked\n" : whyRefused(error) + "\n");
            if (!entry.locked) {
                m_refused = shortNameOf(entry.volume);
                return;
            }
        }
    }

    void unlock() {
        for (Entry& entry : m_volumes) {
            if (!entry.locked) continue;
            say("unlocking " + titleOf(entry.volume) + " ... ");
            entry.unlockTried = true;
            entry.unlocked = entry.volume.unlockVolume();
            say(entry.unlocked ? "unlocked\n" : "refused; Windows unlocks it as it is closed\n");
        }
    }

    // Empty when each volume was locked.
    const std::string& refused() const { return m_refused; }

    ordered_json toDocument(const KnownDrive& drive) const {
        ordered_json volumes = ordered_json::array();
        for (const Entry& entry : m_volumes) {
            volumes.push_back({{"volume", shortNameOf(entry.volume)},
                               {"locked", entry.locked},
                               {"unlocked", entry.unlocked}});
        }
        return {{"drive", drive.index}, {"volumes", std::move(volumes)}};
    }

private:
    struct Entry {
        Volume volume;
        bool locked = false;
        bool unlockTried = false;
        bool unlocked = false;
    };

    void say(const std::string& text) {
        if (!m_output.wantsJson()) m_output.print(text);
    }

    Output& m_output;
    std::vector<Entry> m_volumes;
    std::string m_refused;
};

}  // namespace

void lockAndUnlock(const KnownDrive& drive, Output& output) {
    const InterruptionNoted interruption;
    Locking locking(drive, output);
    for (const Volume& volume : volumesPartlyOn(drive)) {
        output.remark(titleOf(volume) +
                      " lies partly on this drive, but is not one of its volumes: it is not locked");
    }
    locking.lock();
    locking.unlock();
    if (output.wantsJson()) output.printDocument(locking.toDocument(drive));
    if (InterruptionNoted::happened()) {
        throw CommandFailure(NotRead, "interrupted; what was locked is unlocked again");
    }
    if (locking.empty()) {
        throw CommandFailure(NotRead, isClosed(drive)
                                          ? "the drive cannot be opened; its volumes are not known"
                                          : "the drive has no volumes to lock");
    }
    if (!locking.refused().empty()) {
        throw CommandFailure(NotRead, "the volume " + locking.refused() +
                                          " cannot be locked; what was locked is unlocked again");
    }
}

}  // namespace sysmira
