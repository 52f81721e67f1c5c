#pragma once

namespace inspect {

/// Runs "zarvo-inspect h5 list FILE" (every object: path, registered name, shape) or
/// "zarvo-inspect h5 print FILE PATH" (one value in its text form, or the entries of a
/// storage). argv[1] is "h5". Returns the exit code: 0 done, 1 bad input, 2 usage error.
int runH5(int argc, char** argv);

}  // namespace inspect
