#pragma once
// Files no reader of the program may trust, shared by the readers' tests and
// the fuzz seed corpora: nested entities that expand to gigabytes, an
// external entity naming a local file, and a 2 GB sparse file of zeros.
// `root` is the document element; `element` is one child whose attribute
// value is "&big;" (it must carry that reference).

#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace vantaro::test {

struct HostileFile {
  const char* what;
  std::string text;  // empty: a sparse file of kSparseSize bytes
};

inline constexpr off_t kSparseSize = off_t{2} << 30;

inline std::vector<HostileFile> HostileFiles(const std::string& root, const std::string& element) {
  std::string laughs =
      "<?xml version=\"1.0\"?>\n<!DOCTYPE " + root + " [\n<!ENTITY a \"aaaaaaaaaa\">\n";
  for (char e = 'b'; e <= 'j'; ++e) {
    laughs += std::string("<!ENTITY ") + e + " \"";
    for (int i = 0; i < 10; ++i) laughs += std::string("&") + char(e - 1) + ";";
    laughs += "\">\n";
  }
  laughs += "<!ENTITY big \"&j;&j;\">\n]>\n<" + root + " version=\"100\">\n" + element + "\n</" +
            root + ">\n";
  const std::string external = "<?xml version=\"1.0\"?>\n<!DOCTYPE " + root +
                               " [\n<!ENTITY big SYSTEM \"file:///etc/passwd\">\n]>\n<" + root +
                               " version=\"100\">\n" + element + "\n</" + root + ">\n";
  return {{"entity expansion", laughs}, {"external entity", external}, {"2 GB sparse", ""}};
}

// Writes `file` at `path`; false when the file system refuses.
inline bool WriteHostileFile(const std::string& path, const HostileFile& file) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) return false;
  const bool ok = file.text.empty()
                      ? ftruncate(fd, kSparseSize) == 0
                      : write(fd, file.text.data(), file.text.size()) == ssize_t(file.text.size());
  return close(fd) == 0 && ok;
}

}  // namespace vantaro::test
