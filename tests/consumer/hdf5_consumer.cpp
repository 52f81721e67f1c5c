// Built against the installed zarvo_hdf5: records two frames and a value, reads them back.
#include <cstdio>
#include <iostream>

#include "hdf5/FrameRecorder.h"

using namespace zarvo::exp;
using zarvo::hdf5::FrameRecorder;
using zarvo::hdf5::RecordingFile;

int main() {
    const std::string name = "hdf5_consumer.h5";
    {
        RecordingFile file = RecordingFile::create(name);
        file.writeValue("gain", std::make_shared<Variant_<double>>(1.5));
        FrameRecorder recorder(file, "run");
        for (int i = 0; i < 2; ++i) {
            Frame frame(cv::Mat(2, 2, CV_8UC1, cv::Scalar(i)));
            frame.addMetaDate("index", std::make_shared<Variant_<int>>(i));
            recorder.append(frame);
        }
    }
    const RecordingFile file = RecordingFile::openReadOnly(name);
    const Frame second = FrameRecorder::readFrame(file, "run", 1);
    std::shared_ptr<Variant> index;
    const bool ok = file.readValue("gain")->toDouble() == 1.5 && FrameRecorder::frameCount(file, "run") == 2 &&
                    second.getMetaDate("index", index) && index->toInt32() == 1 &&
                    second.getFrameData().at<unsigned char>(1, 1) == 1;
    std::remove(name.c_str());
    std::cout << "hdf5 consumer: " << (ok ? "recorded and read back" : "FAILED") << "\n";
    return ok ? 0 : 1;
}
