#include "core/datatypes/Frame.h"

#include <ostream>
#include <utility>

#include <opencv2/core/check.hpp>

namespace zarvo::exp {

Frame::Frame() = default;

Frame::Frame(const cv::Mat& data) : m_frameData(data) {}

Frame::Frame(const cv::Mat& data, DataStorage<std::string>&& metaData)
    : m_frameData(data), m_metaData(std::move(metaData)) {}

Frame::Frame(const Frame& other) : m_frameData(other.m_frameData.clone()), m_metaData(other.m_metaData) {}

Frame::Frame(Frame&& other) noexcept : m_frameData(other.m_frameData), m_metaData(std::move(other.m_metaData)) {}

Frame::~Frame() = default;

Frame& Frame::operator=(const Frame& other) {
    if (this == &other) return *this;
    cv::Mat pixels = other.m_frameData.clone();
    m_metaData = other.m_metaData;
    m_frameData = std::move(pixels);
    return *this;
}

Frame& Frame::operator=(Frame&& other) {
    if (this == &other) return *this;
    m_metaData = other.m_metaData;
    m_frameData = std::move(other.m_frameData);
    return *this;
}

void Frame::setFrameData(const cv::Mat& data) { data.copyTo(m_frameData); }

Frame Frame::getSharedDataCopy() const { return Frame(m_frameData, DataStorage<std::string>(m_metaData)); }

void Frame::addMetaDate(const std::string& key, std::shared_ptr<Variant> value) {
    m_metaData.insert(key, std::move(value));
}

bool Frame::getMetaDate(const std::string& key, std::shared_ptr<Variant>& value) const {
    value = m_metaData.get(key);
    return value != nullptr;
}

bool Frame::isMetaDateAvailable(const std::string& key) const { return m_metaData.get(key) != nullptr; }

bool Frame::removeMetaDate(const std::string& key) { return m_metaData.erase(key); }

std::vector<std::string> Frame::getMetaDataKeys() const {
    std::vector<std::string> keys;
    keys.reserve(m_metaData.size());
    for (const auto& entry : m_metaData) keys.push_back(entry.first);
    return keys;
}

bool Frame::isEmpty() const {
    if (m_frameData.data != nullptr && m_frameData.total() != 0 && m_frameData.dims != 0) return false;
    return m_metaData.size() == 0;
}

DataStorage<std::string>&& Frame::releaseMetaData() { return std::move(m_metaData); }

std::ostream& operator<<(std::ostream& stream, const Frame& frame) {
    const cv::Mat& image = frame.getFrameData();
    stream << "Frame ";
    if (image.dims <= 2) {
        stream << image.cols << "x" << image.rows;
    } else {
        for (int i = 0; i < image.dims; ++i) stream << (i == 0 ? "" : "x") << image.size[i];
    }
    stream << " " << cv::typeToString(image.type()) << ", metadata:";
    const std::vector<std::string> keys = frame.getMetaDataKeys();
    for (size_t i = 0; i < keys.size(); ++i) stream << (i == 0 ? " " : ", ") << keys[i];
    if (keys.empty()) stream << " none";
    return stream;
}

}  // namespace zarvo::exp
