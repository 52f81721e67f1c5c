#pragma once

namespace inspect {

/// Runs "zarvo-inspect h5 list FILE" (every object: path, registered name, shape),
/// "h5 summary FILE" (each recording: frames, image, compression, first and last
/// timestamp and mean rate) or "h5 print FILE PATH [--frames A:B] [--json]" (a value,
/// a storage's entries, or a per-frame dataset frame by frame; an image with the
/// statistics of each channel). argv[1] is "h5". Returns 0; throws
/// std::invalid_argument for a command line that makes no sense and any other
/// exception for a file that cannot be read.
int runH5(int argc, char** argv);

}  // namespace inspect
