// A diagnostic test of the disks. It asks the library and nothing else, so it runs on every Windows PC and,
// as it stands, on simulated ones.
#pragma once

#include <string>
#include <vector>

enum class Verdict { Pass, Unknown, Fail };  ///< the worse ones last

struct DiskResult {
    std::string disk;  ///< its name, UTF-8
    Verdict verdict = Verdict::Pass;
    std::vector<std::string> reasons;  ///< why it did not pass; UTF-8
};

/// One result for each disk that Windows shows. A disk fails when its driver has a problem, Windows logged
/// bad blocks on it or predicts its failure; what cannot be found out is never a pass.
std::vector<DiskResult> testDisks();
