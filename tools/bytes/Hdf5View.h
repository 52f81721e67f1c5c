#pragma once

#include <string>

namespace inspect {

/// What "h5 print" shows of an object.
struct H5PrintOptions {
    bool json = false;    ///< one JSON document instead of lines
    bool frames = false;  ///< only the frames of range, of a per-frame dataset
    std::string range;    ///< "A:B", frames from A up to B (excluded); either end may be left out
};

// Each throws std::invalid_argument for a command line that makes no sense and any
// other exception for a file that cannot be read.

/// "h5 list FILE": every object with its path, registered name and shape.
void listH5(const std::string& file);
/// "h5 summary FILE": each recording's frames, image, compression, first and last timestamp and mean rate.
void summarizeH5(const std::string& file);
/// "h5 print FILE PATH": a value, a storage's entries, or a per-frame dataset frame by
/// frame; an image with the statistics of each channel.
void printH5(const std::string& file, const std::string& path, const H5PrintOptions& options);

}  // namespace inspect
