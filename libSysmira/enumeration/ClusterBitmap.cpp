#include "libSysmira/enumeration/ClusterBitmap.h"

namespace libSysmira {

ClusterBitmap::ClusterBitmap(const unsigned char* bits, unsigned long long bitCount)
    : m_clusterCount(bits == nullptr ? 0 : bitCount) {
    m_bytes.assign(bits, m_clusterCount / 8 + (m_clusterCount % 8 != 0 ? 1 : 0));
}

}  // namespace libSysmira
