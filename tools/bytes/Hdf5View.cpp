// zarvo-inspect h5: looks into an HDF5 recording without writing code. Everything goes
// through zarvo_hdf5's readers, so a damaged or foreign file ends in one line saying
// what did not fit.
#include "tools/bytes/Hdf5View.h"

#include <charconv>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/datatypes/UnixTime.h"
#include "hdf5/FrameRecorder.h"
#include "hdf5/RecordingFile.h"
#include "tools/bytes/ByteView.h"
#include "tools/bytes/ValueJson.h"

namespace inspect {

namespace {

using zarvo::Exception;
using zarvo::exp::UnixTime;
using zarvo::hdf5::FrameRecorder;
using zarvo::hdf5::RecordingFile;
using Storage = zarvo::exp::DataStorage<std::string>;

size_t number(const std::string& text, size_t otherwise, const std::string& range) {
    if (text.empty()) return otherwise;
    size_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size())
        throw std::invalid_argument("--frames takes A:B, frame numbers from A up to B (excluded), not " + range);
    return value;
}

// The frames [from, to) that --frames A:B selects of count frames; either end may be left out.
std::pair<size_t, size_t> framesOf(const H5PrintOptions& options, size_t count) {
    if (!options.frames) return {0, count};
    const size_t colon = options.range.find(':');
    if (colon == std::string::npos)
        throw std::invalid_argument("--frames takes A:B, frame numbers from A up to B (excluded), not " +
                                    options.range);
    const size_t from = number(options.range.substr(0, colon), 0, options.range);
    const size_t to = number(options.range.substr(colon + 1), count, options.range);
    if (from > to || to > count)
        throw std::runtime_error("--frames " + options.range + " lies outside the " + std::to_string(count) +
                                 " frames");
    return {from, to};
}

std::string dimsJson(const std::vector<std::uint64_t>& dims) {
    std::string json = "[";
    for (size_t i = 0; i < dims.size(); ++i) json += (i ? "," : "") + std::to_string(dims[i]);
    return json + "]";
}

// Writes a shown value as the rest of the inspector does: label, head, indented lines, escaped.
void printShown(const std::string& indent, const std::string& label, const Shown& shown) {
    std::cout << indent << Exception::printable(label) << ":"
              << (shown.head.empty() ? "" : " " + Exception::printable(shown.head)) << "\n";
    for (const std::string& line : shown.lines) std::cout << indent << "  " << Exception::printable(line) << "\n";
}

// Frames, image, compression and time of the recording at path, as lines.
std::vector<std::string> recordingLines(const RecordingFile& file, const std::string& path,
                                        const std::vector<RecordingFile::Entry>& entries) {
    const size_t frames = FrameRecorder::frameCount(file, path);
    std::string image = "no frame yet";
    for (const RecordingFile::Entry& entry : entries)
        if (entry.path == path + "/images" && frames > 0)
            image = matrixLine(file.readElement(entry.path, 0)->value<cv::Mat>());
    std::vector<std::string> lines{std::to_string(frames) + (frames == 1 ? " frame" : " frames") + ", " + image,
                                   "compression: " + FrameRecorder::compressionOf(file, path)};
    if (frames > 0) {
        const std::int64_t first = FrameRecorder::timestampOf(file, path, 0);
        const std::int64_t last = FrameRecorder::timestampOf(file, path, frames - 1);
        std::ostringstream rate;
        if (frames > 1 && last > first)
            rate << ", mean rate " << std::setprecision(6)
                 << static_cast<double>(frames - 1) * 1e9 / static_cast<double>(last - first) << " frames/s";
        lines.push_back("timestamps: first " + UnixTime::isoText(first) + ", last " + UnixTime::isoText(last) +
                        rate.str());
    }
    return lines;
}

void list(const RecordingFile& file) {
    std::cout << std::left << std::setw(48) << "path" << std::setw(14) << "type"
              << "shape\n";
    for (const RecordingFile::Entry& entry : file.list())
        std::cout << std::setw(48) << Exception::printable(entry.path) << std::setw(14)
                  << (entry.typeName.empty() ? "-" : Exception::printable(entry.typeName)) << entry.shape << "\n";
}

void summary(const RecordingFile& file) {
    const std::vector<RecordingFile::Entry> entries = file.list();
    size_t streams = 0;
    for (const RecordingFile::Entry& entry : entries) {
        if (entry.typeName != "recording") continue;
        ++streams;
        printShown("", "recording " + entry.path, {"", recordingLines(file, entry.path, entries), ""});
    }
    std::cout << streams << (streams == 1 ? " recording" : " recordings") << " in "
              << Exception::printable(file.fileName()) << "\n";
}

// One element per frame: each selected frame's value, or its image with the statistics of each channel.
void printFrames(const RecordingFile& file, const RecordingFile::Entry& entry, const H5PrintOptions& options) {
    const auto [from, to] = framesOf(options, static_cast<size_t>(entry.dims.at(0)));
    std::string values;
    if (!options.json)
        std::cout << Exception::printable(entry.path) << " (" << Exception::printable(entry.typeName) << ", "
                  << entry.shape << "), frames " << from << ":" << to << "\n";
    for (size_t i = from; i < to; ++i) {
        const Shown shown = show(file.readElement(entry.path, i));
        if (options.json)
            values += (i == from ? "" : ",") + ("{\"frame\":" + std::to_string(i) + ",\"value\":" + shown.json + "}");
        else printShown("  ", "[" + std::to_string(i) + "]", shown);
    }
    if (options.json)
        std::cout << "{\"path\":" << jsonString(entry.path) << ",\"type\":" << jsonString(entry.typeName)
                  << ",\"shape\":" << dimsJson(entry.dims) << ",\"from\":" << from << ",\"to\":" << to
                  << ",\"values\":[" << values << "]}\n";
}

void print(const RecordingFile& file, const std::string& path, const H5PrintOptions& options) {
    const std::vector<RecordingFile::Entry> entries = file.list();
    for (const RecordingFile::Entry& entry : entries) {
        if (entry.path != path && entry.path != "/" + path) continue;
        if (options.frames && !entry.perFrame)
            throw std::invalid_argument("--frames goes with a dataset of one element per frame, not '" + path + "'");
        if (entry.perFrame) {
            printFrames(file, entry, options);
            return;
        }
        std::shared_ptr<zarvo::exp::Variant> value;
        if (entry.typeName == "recording") {
            if (options.json)
                throw std::invalid_argument("--json goes with a value, a storage or a frame, not a recording");
            printShown("", entry.path + " (recording)", {"", recordingLines(file, entry.path, entries), ""});
            return;
        }
        if (entry.typeName == "frame") {
            // Its image and its metadata, as one storage.
            const zarvo::exp::Frame frame = file.readFrame(entry.path);
            Storage both;
            both.insert("image", std::make_shared<zarvo::exp::Variant_<cv::Mat>>(frame.getFrameData()));
            both.insert("metadata", std::make_shared<zarvo::exp::Variant_<Storage>>(frame.getMetaData()));
            value = std::make_shared<zarvo::exp::Variant_<Storage>>(both);
        } else if (entry.shape.empty()) {
            value = std::make_shared<zarvo::exp::Variant_<Storage>>(file.readStorage(entry.path));
        } else {
            value = file.readValue(entry.path);
        }
        const Shown shown = show(value);
        const std::string typeName = entry.typeName.empty() ? value->getTypeString() : entry.typeName;
        if (options.json)
            std::cout << "{\"path\":" << jsonString(entry.path) << ",\"type\":" << jsonString(typeName)
                      << ",\"shape\":" << dimsJson(entry.dims) << ",\"value\":" << shown.json << "}\n";
        else
            printShown("", entry.path + " (" + typeName + (entry.shape.empty() ? "" : ", " + entry.shape) + ")", shown);
        return;
    }
    throw std::runtime_error("'" + path + "': no such object");
}

}  // namespace

void listH5(const std::string& file) { list(RecordingFile::openReadOnly(file)); }

void summarizeH5(const std::string& file) { summary(RecordingFile::openReadOnly(file)); }

void printH5(const std::string& file, const std::string& path, const H5PrintOptions& options) {
    print(RecordingFile::openReadOnly(file), path, options);
}

}  // namespace inspect
