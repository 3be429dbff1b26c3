#include "app/analyse_command.h"

#include <glib.h>
#include <unistd.h>
#include <wx/defs.h>
#include <wx/log.h>
#include <wx/snglinst.h>
#include <wx/utils.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "analysis/analyse_file.h"
#include "analysis/stripe_file.h"
#include "app/data_folders.h"
#include "app/signal_watcher.h"
#include "base/debug_log.h"
#include "library/song_database.h"

namespace vantaro {
namespace {

constexpr int kExitAnalysed = 0;
constexpr int kExitSkipped = 1;
constexpr int kExitFailed = 2;
constexpr const char* kUsage =
    "usage: vantaro --analyse [--key] [--no-store] [--mode 0|-1|-2|BPM] [--skip-analysed] "
    "FILE...\n       (a FILE of - reads paths from standard input, one a line)\n";

struct CommandLine {
  AnalyseOptions options;
  bool skipAnalysed = false;
  std::vector<std::string> paths;  // "-": paths from standard input (see ReadStandardInput)
};

// The tempo mode: 0, -1, -2, or a manual BPM above 45 and below 180.
bool ParseMode(const char* text, int& mode) {
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  if (end == text || *end != '\0') return false;
  if (value != 0 && value != -1 && value != -2 && (value <= 45 || value >= 180)) return false;
  mode = static_cast<int>(value);
  return true;
}

// Replaces each "-" by the lines of standard input (read once).
std::vector<std::string> ReadStandardInput(const std::vector<std::string>& paths) {
  std::vector<std::string> expanded;
  for (const std::string& path : paths) {
    if (path != "-") {
      expanded.push_back(path);
      continue;
    }
    std::string line;
    while (std::getline(std::cin, line))
      if (!line.empty()) expanded.push_back(line);
  }
  return expanded;
}

bool ParseCommandLine(int argc, char** argv, CommandLine& command) {
  bool filesOnly = false;
  for (int i = 2; i < argc; ++i) {
    const std::string arg = argv[i];
    if (filesOnly || arg == "-" || arg.empty() || arg[0] != '-') {
      command.paths.push_back(filesOnly && arg == "-" ? "./-" : arg);
    } else if (arg == "--") {
      filesOnly = true;
    } else if (arg == "--key") {
      command.options.findKey = true;
    } else if (arg == "--no-store") {
      command.options.store = false;
    } else if (arg == "--skip-analysed") {
      command.skipAnalysed = true;
    } else if (arg == "--mode" && i + 1 < argc) {
      if (!ParseMode(argv[++i], command.options.mode)) {
        std::fprintf(stderr, "vantaro: --mode takes 0, -1, -2 or a BPM from 46 to 179\n");
        return false;
      }
    } else {
      std::fprintf(stderr, "vantaro: unknown option %s\n", arg.c_str());
      return false;
    }
  }
  if (command.paths.empty()) std::fprintf(stderr, "vantaro: no files to analyse\n");
  return !command.paths.empty();
}

// The documents root as the window program finds it: VANTARO_HOME, else the
// XDG documents folder, else the home folder.
std::string DocumentsRoot() {
  if (const char* home = std::getenv("VANTARO_HOME"); home && *home) return home;
  if (const char* documents = g_get_user_special_dir(G_USER_DIRECTORY_DOCUMENTS)) return documents;
  return g_get_home_dir();
}

std::string ExecutableFolder() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path().string();
}

// Set by SIGINT or SIGTERM (watcher thread): the file in work stops at its
// next second, the rest are left, and what was learnt is saved.
std::atomic<bool> g_stop{false};
// While paths are read from standard input nothing has been learnt yet: a
// close signal then ends the command at once.
std::atomic<bool> g_readingInput{false};

void OnCloseSignal(int) {
  g_stop.store(true);
  if (g_readingInput.load()) std::_Exit(kExitSkipped);
}

void PrintAnalysed(const std::string& path, const AnalyseOutcome& outcome) {
  std::printf("%s\t%.1f\t%.2f\t%s\t%d\t%d\n", path.c_str(), outcome.bpm, outcome.gainDb,
              KeyName(outcome.key).c_str(), PitchKeyCode(outcome.key), outcome.durationMs);
  std::fflush(stdout);
}

// Analyses every path; returns the exit status.
int AnalysePaths(const CommandLine& command) {
  AnalysisSet set;
  int status = kExitAnalysed;
  const size_t total = command.paths.size();
  for (size_t n = 0; n < total && !g_stop.load(); ++n) {
    const std::string& path = command.paths[n];
    std::fprintf(stderr, "[%zu/%zu] %s\n", n + 1, total, path.c_str());
    if (command.skipAnalysed && !NeedsAnalysis(command.options.stripesFolder, path)) {
      std::fprintf(stderr, "%s: already analysed\n", path.c_str());
      continue;
    }
    const AnalyseOutcome outcome = AnalyseFile(set, path, command.options, &g_stop);
    if (outcome.status != AnalyseStatus::kAnalysed) {
      std::fprintf(stderr, "%s: %s\n", path.c_str(), AnalyseStatusText(outcome.status));
      status = std::max(status, kExitSkipped);
      continue;
    }
    PrintAnalysed(path, outcome);
    if (command.options.store && !outcome.stripeWritten) {
      std::fprintf(stderr, "%s: can not write stripe\n", path.c_str());
      status = kExitFailed;
    }
  }
  if (g_stop.load()) status = std::max(status, kExitSkipped);
  return status;
}

// Two writers of db.vtx would lose each other's results: the window program
// and this command share one instance lock (per data root with VANTARO_HOME).
bool TakeInstanceLock(wxSingleInstanceChecker& instance, const std::string& documents) {
  const char* home = std::getenv("VANTARO_HOME");
  instance.Create("XVT-" + wxGetUserId(),
                  home && *home ? wxString::FromUTF8(documents) : wxString());
  return !instance.IsAnotherRunning();
}

}  // namespace

bool IsAnalyseCommand(int argc, char** argv) {
  return argc > 1 && std::strcmp(argv[1], "--analyse") == 0;
}

int RunAnalyseCommand(int argc, char** argv) {
  CommandLine command;
  if (!ParseCommandLine(argc, argv, command)) {
    std::fputs(kUsage, stderr);
    return kExitFailed;
  }
  SetDebugLogEcho(false);  // debug lines go to the log file only
  wxLog::EnableLogging(false);
  // A new VANTARO_HOME is made here: the lock below and the data root live in it.
  const std::string documents = DocumentsRoot();
  std::error_code error;
  std::filesystem::create_directories(documents, error);
  wxSingleInstanceChecker instance;
  if (!TakeInstanceLock(instance, documents)) {
    std::fprintf(stderr, "vantaro: Vantaro DJ is running; close it before analysing files\n");
    return kExitFailed;
  }
  const DataFolders folders = BuildDataFolders({ExecutableFolder(), documents, "", ""}, nullptr);
  if (!folders.dataRootUsable) {
    std::fprintf(stderr, "vantaro: cannot create the data folder %s\n", folders.dataRoot.c_str());
    return kExitFailed;
  }
  SetDebugLogFolder(folders.dataRoot);
  const std::string database = folders.database + "db.vtx";
  LoadSongDatabase(database);
  command.options.stripesFolder = folders.stripes;
  StartSignalWatcher(&OnCloseSignal);
  g_readingInput.store(true);
  command.paths = ReadStandardInput(command.paths);
  g_readingInput.store(false);
  DebugLog("analyse: %zu files", command.paths.size());
  int status = AnalysePaths(command);
  StopSignalWatcher();
  if (command.options.store && !SaveSongDatabase(database)) {
    std::fprintf(stderr, "vantaro: cannot write %s\n", database.c_str());
    status = kExitFailed;
  }
  return status;
}

}  // namespace vantaro
