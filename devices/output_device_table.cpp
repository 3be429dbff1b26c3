#include "devices/output_device_table.h"

namespace vantaro {

bool OutputDeviceTable::Add(const TOutputDeviceRow& row) {
  if (Count() >= kMaxRows || IsExcludedOutputName(row.name)) return false;
  rows_.push_back(row);
  return true;
}

const TOutputDeviceRow* OutputDeviceTable::Row(int index) const {
  if (index < 0 || index >= Count()) return nullptr;
  return &rows_[static_cast<std::size_t>(index)];
}

std::string OutputDeviceTable::Name(int index) const {
  const TOutputDeviceRow* row = Row(index);
  return row ? row->name : std::string();
}

int OutputDeviceTable::Find(std::string_view name) const {
  if (name.empty()) return -1;
  for (int i = 0; i < Count(); ++i)
    if (rows_[static_cast<std::size_t>(i)].name == name) return i;
  return -1;
}

bool IsExcludedOutputName(std::string_view deviceName) {
  for (std::string_view family : {"BCD-2000", "BCD2000", "BCD-3000", "BCD3000"})
    if (deviceName.find(family) != std::string_view::npos) return true;
  return false;
}

std::string MakeOutputRowName(std::string_view hostApiName, std::string_view deviceName) {
  std::string name(hostApiName);
  name += ": ";
  name += deviceName;
  return name;
}

}  // namespace vantaro
