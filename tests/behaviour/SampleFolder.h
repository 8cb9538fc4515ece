#pragma once

#include <filesystem>

/// Where the seeds of the fuzz targets lie, a folder a target; several tests read them, too.
std::filesystem::path sampleFolder();
