// Runs a fuzz target without a fuzzer: over every file that is named or lies in a folder that is named, whole
// and cut short at every length; after the argument --changes also with every byte changed to every other.
// Ends with status 1 when there is nothing to run.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

constexpr std::size_t longestCut = 2048;     // beyond, every length would take too long
constexpr std::size_t longestChanged = 512;  // beyond, every change would

bool theChanges = false;

// Memory of exactly that size, so that a read beyond it is seen.
void runOnce(const std::vector<char>& bytes, std::size_t size) {
    const auto copy = std::make_unique<std::uint8_t[]>(size);
    std::copy_n(bytes.begin(), size, copy.get());
    LLVMFuzzerTestOneInput(copy.get(), size);
}

void runChanged(std::vector<char> bytes) {
    for (char& byte : bytes) {
        const char before = byte;
        for (int change = 1; change < 256; ++change) {
            byte = static_cast<char>(before ^ change);
            runOnce(bytes, bytes.size());
        }
        byte = before;
    }
}

unsigned runFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    for (std::size_t size = 0; size < std::min(bytes.size(), longestCut); ++size) runOnce(bytes, size);
    runOnce(bytes, bytes.size());
    if (theChanges && bytes.size() <= longestChanged) runChanged(bytes);
    return 1;
}

}  // namespace

int main(int count, char** arguments) {
    unsigned files = 0;
    for (int i = 1; i < count; ++i) {
        if (std::strcmp(arguments[i], "--changes") == 0) {
            theChanges = true;
            continue;
        }
        if (!std::filesystem::is_directory(arguments[i])) {
            files += runFile(arguments[i]);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(arguments[i])) files += runFile(entry);
    }
    std::printf("%u seeds, whole and cut short%s\n", files, theChanges ? ", and each byte changed" : "");
    return files == 0 ? 1 : 0;
}
