#pragma once

// zarvo-inspect's JSON (read --json, h5 print --json, listen --json) is the library's
// (core/datatypes/ValueJson.h), with the pixels of small matrices written out.

#include "core/datatypes/ValueJson.h"

namespace inspect {

using zarvo::exp::jsonNumber;
using zarvo::exp::jsonString;
using zarvo::exp::toJson;

/// A matrix's pixels go into the inspector's JSON up to 1024 values (pixels times channels).
constexpr zarvo::exp::JsonOptions kJsonOptions{1024};

}  // namespace inspect
