#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "core/datatypes/DataStorage.h"
#include "core/datatypes/Variant.h"

namespace zarvo::exp {

/// One image with keyed metadata, the unit in which components hand images on.
/// Pixels follow cv::Mat: shared by header copies, duplicated only where noted.
/// Metadata follow the copy rule of DataStorage: groups duplicated, leaf values
/// shared. Only getSharedDataCopy(), the cv::Mat constructors and the moves hand a
/// frame on without a pixel copy.
class ZARVO_EXPORT Frame {
public:
    /// No pixels, no metadata.
    Frame();
    /// Shares data's pixels; no metadata.
    explicit Frame(const cv::Mat& data);
    /// Shares data's pixels and takes over metaData, which is left without entries.
    Frame(const cv::Mat& data, DataStorage<std::string>&& metaData);
    /// Own copy of other's pixels; metadata copied.
    Frame(const Frame& other);
    /// Shares other's pixels (other keeps them) and takes over its metadata, after
    /// which other must be assigned to before its metadata are used again. Never
    /// throws, so a growing std::vector<Frame> moves its frames instead of copying pixels.
    Frame(Frame&& other) noexcept;
    /// Releases the pixels (sharers keep them) and the metadata.
    virtual ~Frame();
    /// Own copy of other's pixels (the old ones are released only once the copy
    /// stands); metadata copied. Assigning a frame to itself leaves it unchanged,
    /// still sharing its pixels with whoever shared them.
    Frame& operator=(const Frame& other);
    /// Moves other's matrix in, leaving other's empty; metadata copied, other's
    /// stay. Assigning a frame to itself leaves it unchanged.
    Frame& operator=(Frame&& other);

    /// @name Pixels and metadata
    /// @{

    /// The frame's own matrix, not a copy.
    cv::Mat& getFrameData() { return m_frameData; }
    /// The frame's own matrix, not a copy.
    const cv::Mat& getFrameData() const { return m_frameData; }
    /// data.copyTo(the matrix): of the same size and type, the pixels are written
    /// into the present buffer, which sharers see; otherwise the frame gets a new
    /// buffer and sharers keep the old one. Metadata stay.
    void setFrameData(const cv::Mat& data);
    /// A frame sharing these pixels, with a copy of the metadata.
    Frame getSharedDataCopy() const;

    /// Adds value at the (dotted) key; an existing entry is kept, silently. Throws
    /// if value is empty or the path runs on behind an entry that is no group.
    void addMetaDate(const std::string& key, std::shared_ptr<Variant> value);
    /// Sets value to the entry at key, emptying it on a miss; true on a hit.
    bool getMetaDate(const std::string& key, std::shared_ptr<Variant>& value) const;
    /// Whether key holds an entry; throws if the path runs on behind an entry that is no group.
    bool isMetaDateAvailable(const std::string& key) const;
    /// Removes the entry (or group) at key; true whenever it returns.
    bool removeMetaDate(const std::string& key);
    /// The frame's own metadata, not a copy.
    DataStorage<std::string>& getMetaData() { return m_metaData; }
    /// The frame's own metadata, not a copy.
    const DataStorage<std::string>& getMetaData() const { return m_metaData; }
    /// The top-level keys in key order: a dotted key shows as its first component, once.
    std::vector<std::string> getMetaDataKeys() const;
    /// @}

    /// True only if the frame has neither pixels nor metadata.
    bool isEmpty() const;
    /// The metadata as an rvalue: nothing moves until the caller moves from it,
    /// after which this frame must be assigned to before its metadata are used again.
    DataStorage<std::string>&& releaseMetaData();

private:
    cv::Mat m_frameData;
    DataStorage<std::string> m_metaData;
};

/// Writes a line about the frame for people: its size (columns x rows, or the sizes
/// of each dimension), its OpenCV type and its top-level metadata keys, e.g.
/// "Frame 640x480 CV_8UC1, metadata: camera, exposure".
ZARVO_EXPORT std::ostream& operator<<(std::ostream& stream, const Frame& frame);

}  // namespace zarvo::exp
