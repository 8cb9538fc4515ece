// The sample EDIDs, which are the seeds of the fuzz target of their reader.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

#include "tests/behaviour/SampleFolder.h"
#include "tools/sysmira/displays/Edid.h"

using EdidBytes = std::vector<unsigned char>;

inline std::filesystem::path edidSamples() { return sampleFolder() / "Edid"; }

inline EdidBytes sample(const std::filesystem::path& name) {
    std::ifstream file(edidSamples() / name, std::ios::binary);
    EdidBytes bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    EXPECT_FALSE(bytes.empty()) << name;
    return bytes;
}

/// From memory of exactly that size, so that a read beyond it is seen.
inline sysmira::Edid decode(const EdidBytes& bytes) {
    const auto copy = std::make_unique<unsigned char[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), copy.get());
    return sysmira::decodeEdid(copy.get(), bytes.size());
}
