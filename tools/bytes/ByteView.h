#pragma once

// What zarvo-inspect knows about the names it accepts: how to read each one with
// its bounded reader and show the result (as text for people and as JSON for
// scripts), how to write it from text, and the table that `zarvo-inspect types` prints.

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/datatypes/Variant.h"

namespace inspect {

/// A value as the inspector shows it: a head (the text after "name: ", empty when
/// nothing fits on one line) and the lines below it, indented by the printer.
/// Multi-line texts go entirely below; a storage's entries are nested this way.
/// json is the same value as one JSON value. The texts hold the value's bytes as
/// they are: the printer makes them safe for a terminal.
struct Shown {
    std::string head;
    std::vector<std::string> lines;
    std::string json;
};

/// Reads one value at data, never past data + available; used receives the bytes used.
using Reader = std::function<Shown(zarvo::exp::Endian endian, const char* data, size_t available, size_t& used)>;
/// The byte form of a value given as text.
using Writer = std::function<std::vector<char>(zarvo::exp::Endian endian, const std::string& text)>;

/// One row of the `types` table.
struct TypeRow {
    const char* name;
    const char* cppType;
    const char* byteForm;
    const char* textForm;
};

/// How to show a value read through the registry. Matrices show their dimensions
/// and type, a storage its entries as a tree (groups nested), cvsize and cvrect
/// their fields; any other value shows its text, or its byte size if it has none.
Shown show(const std::shared_ptr<zarvo::exp::Variant>& value);

/// The dimensions, sizes and type of a matrix: "2 dims 480x640, CV_8UC1".
std::string matrixLine(const cv::Mat& matrix);

/// One line per channel of a non-empty matrix: "channel 0: min 1, max 7, mean 3.5".
std::vector<std::string> channelLines(const cv::Mat& matrix);

/// The reader of a record class name or a registered name ("storage" included),
/// or an empty function for an unknown name. last, if given, receives each value
/// read through the registry (records leave it alone).
Reader readerFor(const std::string& name, std::shared_ptr<zarvo::exp::Variant>* last = nullptr);

/// The writer of a registered name or of a record that can be read from text
/// (Version, VersionExtended, MarkedFloat, MaterialNumber); an empty function for
/// anything else. known receives whether the name is known at all. The text is
/// read strictly (Variant::parse): anything but exactly one value throws.
Writer writerFor(const std::string& name, bool& known);

/// The registered names in registration order: the library's 46, then "storage",
/// which this program registers.
const std::vector<TypeRow>& registeredTypes();
/// The records, in the order of the usage text; textForm says whether write works.
const std::vector<TypeRow>& recordTypes();

}  // namespace inspect
