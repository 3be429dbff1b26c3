#pragma once
// ZKAttributeList: the attributes of one skin element, as text. A fixed
// table of up to 100 names; names match exactly (case-sensitive), a second
// set of a name overwrites its value, and the 101st name is dropped without
// a word.
//
// Threads: GUI thread (the skin loader and the controls it configures).

#include <array>
#include <string>
#include <utility>

namespace vantaro {

class ZKAttributeList {
 public:
  static constexpr int kMaxAttributes = 100;

  void Clear() { count_ = 0; }
  int Count() const { return count_; }

  void SetText(const std::string& name, const std::string& value);
  void SetInt(const std::string& name, int value);      // "%d"
  void SetBool(const std::string& name, bool value);    // "yes" or "no"
  void SetFloat(const std::string& name, float value);  // "%.5f"

  bool Has(const std::string& name) const { return Find(name) >= 0; }
  // Empty when absent.
  std::string GetText(const std::string& name) const;
  // atoi of the value; -1 when absent.
  int GetInt(const std::string& name) const;
  // -1 when absent.
  float GetFloat(const std::string& name) const;
  // True only for "YES" or "TRUE" in any case; absent is false.
  bool GetBool(const std::string& name) const;

 private:
  int Find(const std::string& name) const;

  int count_ = 0;
  std::array<std::pair<std::string, std::string>, kMaxAttributes> entries_;
};

}  // namespace vantaro
