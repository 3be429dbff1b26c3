// The record time text: its format at the minute and hour edges, and what
// it shows for a recorder that is absent, idle, running and stopped.
#include "app/record_time.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "codecs/encoder_lame.h"
#include "devices/recorder.h"
#include "tests/support/test_support.h"

namespace vantaro {
namespace {

TEST(RecordingTime, FormatsMinutesThenHoursWithoutRunningAhead) {
  const struct {
    double seconds;
    const char* text;
  } cases[] = {
      {0.0, "0:00"},          {0.999, "0:00"},
      {59.999, "0:59"},       {60.0, "1:00"},
      {605.5, "10:05"},       {3599.9, "59:59"},
      {3600.0, "1:00:00"},    {3661.0, "1:01:01"},
      {36000.0, "10:00:00"},  {-5.0, "0:00"},
      {std::nan(""), "0:00"}, {std::numeric_limits<double>::infinity(), "0:00"},
  };
  for (const auto& c : cases) EXPECT_EQ(FormatRecordTime(c.seconds), c.text) << c.seconds;
}

TEST(RecordingTime, EmptyUnlessARecordingRuns) {
  EXPECT_EQ(RecordTimeText(nullptr), "");
  test::TempDir dir;
  CRecorder recorder(nullptr, "");
  EXPECT_EQ(RecordTimeText(&recorder), "");
  ASSERT_TRUE(recorder.StartRecording(dir.File("set.wav")));
  EXPECT_EQ(RecordTimeText(&recorder), "0:00");
  // Two seconds of silence, handed to the file by the writer.
  std::vector<float> second(2 * CRecorder::kSampleRate, 0.0f);
  for (int i = 0; i < 2; ++i) recorder.WriteBlock(second.data(), CRecorder::kSampleRate);
  recorder.Drain();
  EXPECT_EQ(RecordTimeText(&recorder), "0:02");
  recorder.StopRecording();
  EXPECT_EQ(RecordTimeText(&recorder), "");
}

}  // namespace
}  // namespace vantaro
