// The device table: exclusions, the row limit, lookup by stored name.

#include <gtest/gtest.h>

#include "devices/output_device_table.h"

namespace vantaro {
namespace {

TOutputDeviceRow RowNamed(const std::string& name, int channels = 2) {
  TOutputDeviceRow row;
  row.name = name;
  row.maxOutputChannels = channels;
  return row;
}

TEST(DeviceTable, ControllerAudioFamilyIsNeverListed) {
  for (const char* name : {"ALSA: BCD-2000 USB Audio (hw:1,0)", "ALSA: Behringer BCD2000",
                           "JACK Audio Connection Kit: BCD-3000", "ALSA: BCD3000 (hw:2,0)"}) {
    EXPECT_TRUE(IsExcludedOutputName(name)) << name;
    OutputDeviceTable table;
    EXPECT_FALSE(table.Add(RowNamed(name))) << name;
    EXPECT_EQ(table.Count(), 0);
  }
  // Near misses stay.
  for (const char* name :
       {"ALSA: BCD-200 (hw:0,0)", "ALSA: bcd2000", "JACK Audio Connection Kit: BCD 2000"})
    EXPECT_FALSE(IsExcludedOutputName(name)) << name;
}

TEST(DeviceTable, StopsAtOneHundredRows) {
  OutputDeviceTable table;
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(table.Add(RowNamed("ALSA: card " + std::to_string(i))));
  EXPECT_FALSE(table.Add(RowNamed("ALSA: card 100")));
  EXPECT_EQ(table.Count(), 100);
  EXPECT_EQ(table.Name(99), "ALSA: card 99");
  EXPECT_EQ(table.Find("ALSA: card 100"), -1);
}

TEST(DeviceTable, LookupByNameIsExactAndOutOfRangeIsEmpty) {
  OutputDeviceTable table;
  table.Add(RowNamed("ALSA: HDA Intel PCH: ALC892 Analog (hw:0,0)"));
  table.Add(RowNamed("ALSA: default"));
  table.Add(RowNamed("JACK Audio Connection Kit: system", 8));
  EXPECT_EQ(table.Find("ALSA: default"), 1);
  EXPECT_EQ(table.Find("JACK Audio Connection Kit: system"), 2);
  EXPECT_EQ(table.Find("ALSA: defaul"), -1);
  EXPECT_EQ(table.Find("alsa: default"), -1);
  EXPECT_EQ(table.Find(""), -1);
  EXPECT_EQ(table.Row(2)->maxOutputChannels, 8);
  EXPECT_EQ(table.Row(-1), nullptr);
  EXPECT_EQ(table.Row(3), nullptr);
  EXPECT_EQ(table.Name(3), "");
  table.Clear();
  EXPECT_EQ(table.Count(), 0);
  EXPECT_EQ(table.Find("ALSA: default"), -1);
}

}  // namespace
}  // namespace vantaro
