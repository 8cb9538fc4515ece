// A snapshot of which clusters of a volume are in use. Volume::getVolumeClusterBitmap makes it; it never
// changes, and goes with its last holder.
#pragma once

#include "libSysmira/Export.h"
#include "support/Buffer.h"
#include "support/PointerStorage.h"
#include "support/SharedResource.h"

namespace libSysmira {

class SYSMIRA_API ClusterBitmap {
public:
    ClusterBitmap(const ClusterBitmap&) = delete;
    ClusterBitmap& operator=(const ClusterBitmap&) = delete;

    /// The number of clusters that the volume has.
    unsigned long long size() const { return m_clusterCount; }
    /// Clusters count from 0; one that the volume does not have is not in use.
    bool isUsed(unsigned long long cluster) const {
        return cluster < m_clusterCount && (m_bytes.data()[cluster / 8] >> cluster % 8 & 1) != 0;
    }
    /// Eight clusters in each byte, the least significant bit first; a set bit is a used cluster. The last
    /// byte may have bits of no cluster.
    const zor::Buffer<unsigned char>& bytes() const { return m_bytes; }

private:
    friend class Volume;

    // Copies (bitCount + 7) / 8 bytes. A null pointer or no bits make an empty bitmap.
    ClusterBitmap(const unsigned char* bits, unsigned long long bitCount);

    zor::Buffer<unsigned char> m_bytes;
    unsigned long long m_clusterCount;
};

using SharedClusterBitmap = zor::SharedResource<zor::PointerStorage<const ClusterBitmap, 0, 3>, 0>;

}  // namespace libSysmira
