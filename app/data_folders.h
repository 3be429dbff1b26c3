#pragma once
// The program's folders: the executable folder (program data: samples,
// skins, languages, controllers), and the data root "<documents>/Vantaro/"
// with its sub-folders. Every folder string ends in "/" once built.
//
// Threads: built once on the GUI thread during start-up, read-only after.

#include <string>

namespace vantaro {

struct DataFolders {
  // The program data folder (ProgramDataFolder): no trailing slash until
  // built (then with).
  std::string executable;
  std::string documentsRoot;
  std::string userData;
  std::string temporary;
  std::string dataRoot;
  std::string stripes;
  std::string database;
  std::string settings;
  std::string playlists;
  std::string skins;
  std::string samples;
  std::string effects;
  // True when the data root exists after start-up.
  bool dataRootUsable = false;
  // True when Samples was created in this start (and seeded).
  bool samplesCreated = false;
};

// Inputs from the platform: the executable's folder, the documents root
// (VANTARO_HOME when set), the per-user application-data folder and the
// temporary folder.
struct PlatformFolders {
  std::string executable;
  std::string documents;
  std::string userData;
  std::string temporary;
};

// The folder of the program's own data (samples, skins, languages,
// controllers), without a trailing slash: the executable's folder when
// "languages" stands beside the executable (a build tree), else
// "<prefix>/share/vantaro" for an executable installed in "<prefix>/bin"
// when that folder exists, else the executable's folder.
std::string ProgramDataFolder(const std::string& executableFolder);

// Forms and creates the folders: the data root with mode 0777 (less the
// umask), then Stripes, Database, Settings, Playlists, Skins, Samples in
// that order; Effects is formed but not created here. A new Samples folder
// is seeded with the contents of the "samples" folder beside the program,
// without overwriting. `onRootFailure` is called once when the data root
// cannot be created; start-up carries on.
DataFolders BuildDataFolders(const PlatformFolders& platform, void (*onRootFailure)());

// The message shown when the data root cannot be created.
inline constexpr const char* kDataRootFailureText =
    "Cannot create the application data folder. Please make sure you have write permissions.";

}  // namespace vantaro
