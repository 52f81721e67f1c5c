// Recordings: frames appended, read back one at a time, frames that do not fit, and a
// recorder killed in the middle of a run.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "hdf5/FrameRecorder.h"
#include "tests/TestSupport.h"

using namespace zarvo::exp;
using namespace testsupport;
using zarvo::hdf5::FrameRecorder;
using zarvo::hdf5::RecordingFile;

namespace {

std::string scratch(const std::string& name) { return ::testing::TempDir() + "zarvo_hdf5_" + name + ".h5"; }

// Frame i of a run: pixels and metadata that tell the frames apart.
Frame frameNumber(int i, int channels = 1) {
    Frame frame(cv::Mat(48, 64, CV_MAKETYPE(CV_8U, channels), cv::Scalar::all(i % 256)));
    frame.getFrameData().at<unsigned char>(0, 0) = static_cast<unsigned char>(255 - i % 256);
    frame.addMetaDate("index", hold(i));
    frame.addMetaDate("camera.temperature", hold(20.0 + i));
    frame.addMetaDate("camera.mode", hold(std::string(i % 2 ? "odd" : "even")));
    frame.addMetaDate("roi", hold(cv::Rect(i, 0, 10, 10)));
    return frame;
}

void expectFrame(const Frame& back, int i, int channels = 1) {
    const Frame wanted = frameNumber(i, channels);
    EXPECT_EQ(cv::norm(back.getFrameData(), wanted.getFrameData(), cv::NORM_INF), 0) << "frame " << i;
    for (const char* key : {"index", "camera.temperature", "camera.mode", "roi"}) {
        std::shared_ptr<Variant> got, expected;
        ASSERT_TRUE(back.getMetaDate(key, got)) << key;
        wanted.getMetaDate(key, expected);
        EXPECT_TRUE(got->equal_imp(expected)) << "frame " << i << " " << key << ": " << got->toString();
    }
}

}  // namespace

TEST(Hdf5FrameRecorder, FramesReadBackOneByOneWithAndWithoutDeflate) {
    for (const int level : {0, 6}) {
        for (const int channels : {1, 3}) {
            const std::string name = scratch("run" + std::to_string(level) + std::to_string(channels));
            {
                RecordingFile file = RecordingFile::create(name);
                file.writeValue("operator", hold(std::string("ada")));
                FrameRecorder::Options options;
                options.deflateLevel = level;
                options.flushEvery = 3;
                FrameRecorder recorder(file, "runs/1", options);
                for (int i = 0; i < 7; ++i) recorder.append(frameNumber(i, channels));
                EXPECT_EQ(recorder.size(), 7u);
            }
            const RecordingFile file = RecordingFile::openReadOnly(name);
            ASSERT_EQ(FrameRecorder::frameCount(file, "runs/1"), 7u);
            for (const int i : {6, 0, 3}) expectFrame(FrameRecorder::readFrame(file, "runs/1", i), i, channels);
            EXPECT_EQ(messageOf([&] { FrameRecorder::readFrame(file, "runs/1", 7); }), "'runs/1': has 7 frames, no frame 7");
        }
    }
}

TEST(Hdf5FrameRecorder, AFrameThatDoesNotFitIsRefusedWhole) {
    const std::string name = scratch("misfit");
    RecordingFile file = RecordingFile::create(name);
    FrameRecorder recorder(file, "run");
    recorder.append(frameNumber(0));
    Frame extraKey = frameNumber(1);
    extraKey.addMetaDate("extra", hold(1));
    Frame otherType = frameNumber(1);
    otherType.removeMetaDate("index");
    otherType.addMetaDate("index", hold(1.0f));
    const std::vector<std::pair<Frame, std::string>> cases = {
        {Frame(cv::Mat(48, 64, CV_16UC1)), "image 48x64 of type 2, the first was 48x64 of type 0"},
        {extraKey, "other metadata keys than the first frame's"},
        {otherType, "metadata 'index' is a 'float', the first was a 'int32'"}};
    for (const auto& [frame, why] : cases)
        EXPECT_EQ(messageOf([&] { recorder.append(frame); }), "'run': frame 1 does not fit the recording: " + why);
    recorder.append(frameNumber(1));
    recorder.flush();
    EXPECT_EQ(FrameRecorder::frameCount(file, "run"), 2u);
    expectFrame(FrameRecorder::readFrame(file, "run", 1), 1);
}

// A child records and reports each flush through a pipe; once it has flushed 3 times it
// is killed at once. Every frame flushed before the kill must read back.
TEST(Hdf5FrameRecorder, KilledRecorderLosesOnlyUnflushedFrames) {
    const std::string name = scratch("killed");
    int report[2];
    ASSERT_EQ(pipe(report), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(report[0]);
        RecordingFile file = RecordingFile::create(name);
        FrameRecorder::Options options;
        options.flushEvery = 4;
        FrameRecorder recorder(file, "run", options);
        for (int i = 0;; ++i) {
            recorder.append(frameNumber(i));
            if (recorder.size() % 4 == 0) {
                const int flushed = static_cast<int>(recorder.size());
                if (write(report[1], &flushed, sizeof flushed) != sizeof flushed) _exit(1);
            }
        }
    }
    close(report[1]);
    int flushed = 0;
    for (int reports = 0; reports < 3; ++reports) ASSERT_EQ(read(report[0], &flushed, sizeof flushed), sizeof flushed);
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    close(report[0]);
    ASSERT_TRUE(WIFSIGNALED(status));

    const RecordingFile file = RecordingFile::openReadOnly(name);
    const size_t frames = FrameRecorder::frameCount(file, "run");
    EXPECT_GE(frames, static_cast<size_t>(flushed));
    for (size_t i = 0; i < frames; ++i) expectFrame(FrameRecorder::readFrame(file, "run", i), static_cast<int>(i));
}
