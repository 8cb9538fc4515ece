// Where on its disk a volume's clusters lie, as far as that follows from what Windows reports.
#pragma once

#include <string>

#include "libSysmira/enumeration/Volume.h"

namespace sysmira {

struct ClusterLayout {
    std::string whyUnknown;     ///< empty when the layout is known
    bool isUnreadable = false;  ///< unknown because Windows refuses an answer
    /// Bytes on the disk.
    unsigned long long firstCluster = 0;
    unsigned long long end = 0;
    unsigned long long clusterSize = 0;  ///< > 0
};

/// Known for volumes in one piece whose file system counts clusters from the volume's beginning (NTFS, ReFS)
/// or reports where they begin (FSCTL_GET_RETRIEVAL_POINTER_BASE). How a volume on several disks is laid out,
/// one after the other or in stripes, Windows does not report here.
ClusterLayout readClusterLayout(const libSysmira::Volume& volume);

}  // namespace sysmira
