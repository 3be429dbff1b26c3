#include "app/remote_socket.h"

#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <sstream>
#include <thread>
#include <vector>

#include "app/key_hook.h"
#include "app/program.h"
#include "base/debug_log.h"
#include "control/gui_sync.h"
#include "control/script_actions.h"
#include "control/value_entries.h"
#include "skin/main_window.h"

namespace vantaro {
namespace {

constexpr auto kGuiAnswerLimit = std::chrono::seconds(2);
constexpr int kClientWaitMs = 5000;  // the GUI's 2 s and a loaded machine's margin
constexpr std::size_t kLineLimit = 600;
constexpr std::size_t kMaxClients = 16;
constexpr int kOpCall = 0, kOpGet = 1, kOpPress = 2;

// ---- the exchange between the listener and the GUI thread ----------------------

struct Exchange {
  std::mutex lock;
  std::condition_variable answered;
  int serial = 0;
  int answeredSerial = 0;
  std::string answer;
  bool closing = false;
};
Exchange g_exchange;

std::string Ask(int op, const std::string& name, int deck, int value) {
  int serial = 0;
  {
    std::lock_guard<std::mutex> guard(g_exchange.lock);
    if (g_exchange.closing) return "error closing";
    serial = ++g_exchange.serial;
  }
  if (!SendGuiSyncAction(kGuiSyncRemoteRequest, serial, deck, value, op, name.c_str()))
    return "error busy";
  std::unique_lock<std::mutex> guard(g_exchange.lock);
  const bool done = g_exchange.answered.wait_for(guard, kGuiAnswerLimit, [serial] {
    return g_exchange.answeredSerial == serial || g_exchange.closing;
  });
  if (g_exchange.answeredSerial == serial) return g_exchange.answer;
  return done ? "error closing" : "error no answer in time";
}

// GUI thread: runs the request.
std::string Execute(const GuiSyncAction& request) {
  if (request.auxi3 == kOpPress) {
    ZKMainWindow* window = TheProgram().mainWindow;
    if (!window) return "error no main window";
    return DeliverKeyToHook(window, request.auxi1, request.auxi2) ? "ok consumed" : "ok passed";
  }
  if (request.auxi3 == kOpGet) {
    const Value value = GetValue(request.auxs0, request.auxi1);
    return value.kind == kValueNone ? "unknown" : "ok " + FormatValue(value);
  }
  const int index = FindScriptAction(request.auxs0);
  if (index < 0) return "unknown";
  const ScriptAction& action = ScriptActionRow(index);
  const int deck = action.isGlobal ? -1 : request.auxi1;
  if (!action.isGlobal && deck != 0 && deck != 1) return "error no such deck";
  action.handler(request.auxi2, -1, deck);
  return "ok";
}

void AnswerOnGuiThread(const GuiSyncAction& request) {
  std::string answer = Execute(request);
  std::lock_guard<std::mutex> guard(g_exchange.lock);
  g_exchange.answeredSerial = request.auxi0;
  g_exchange.answer = std::move(answer);
  g_exchange.answered.notify_all();
}

// ---- the listener ------------------------------------------------------------------

std::optional<int> Integer(const std::string& text) {
  if (text.empty()) return std::nullopt;
  char* end = nullptr;
  errno = 0;
  const long value = std::strtol(text.c_str(), &end, 10);
  if (*end != '\0' || errno != 0 || value < -1000000 || value > 1000000) return std::nullopt;
  return static_cast<int>(value);
}

std::string Answer(const std::string& line) {
  std::istringstream words(line);
  std::string op, name, deckText, valueText, extra;
  words >> op >> name >> deckText >> valueText >> extra;
  const auto deck = Integer(deckText), value = Integer(valueText);
  if (op == "call" && !name.empty() && deck && value && extra.empty())
    return Ask(kOpCall, name, *deck, *value);
  if (op == "get" && !name.empty() && deck && valueText.empty()) return Ask(kOpGet, name, *deck, 0);
  // "press <code> <modifiers>": name and deck hold the two numbers.
  if (const auto code = Integer(name); op == "press" && code && deck && valueText.empty())
    return Ask(kOpPress, "", *code, *deck);
  return "error bad request";
}

bool SameUser(int fd) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == getuid();
}

bool WriteAll(int fd, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t sent = send(fd, text.data() + done, text.size() - done, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    done += static_cast<std::size_t>(sent);
  }
  return true;
}

class Listener {
 public:
  bool Start(const std::string& path) {
    path_ = path;
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (fd_ < 0 || path.size() >= sizeof address.sun_path || pipe2(stop_, O_CLOEXEC) != 0)
      return Fail("socket");
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    unlink(path.c_str());  // we hold the instance lock: an old socket is a dead program's
    if (bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return Fail("bind");
    chmod(path.c_str(), 0600);
    if (listen(fd_, 4) != 0) return Fail("listen");
    thread_ = std::thread([this] { Run(); });
    DebugLog("remote: listening on %s", path.c_str());
    return true;
  }

  void Stop() {
    if (!thread_.joinable()) return Close();
    const char byte = 0;
    if (write(stop_[1], &byte, 1) < 0) DebugLog("remote: stop signal failed");
    thread_.join();
    Close();
  }

 private:
  bool Fail(const char* step) {
    DebugLog("remote: %s %s failed: %s", step, path_.c_str(), std::strerror(errno));
    Close();
    return false;
  }

  void Close() {
    if (fd_ >= 0) {
      close(fd_);
      unlink(path_.c_str());
    }
    for (int& end : stop_)
      if (end >= 0) close(end);
    fd_ = stop_[0] = stop_[1] = -1;
  }

  struct Client {
    int fd;
    std::string pending;
  };

  // Several clients at once (a test holds one connection while a command
  // asks on another); their requests are answered one at a time.
  void Run() {
    std::vector<Client> clients;
    for (;;) {
      std::vector<pollfd> fds = {{stop_[0], POLLIN, 0}, {fd_, POLLIN, 0}};
      for (const Client& client : clients) fds.push_back({client.fd, POLLIN, 0});
      if (poll(fds.data(), fds.size(), -1) < 0 && errno != EINTR) break;
      if (fds[0].revents & POLLIN) break;
      for (std::size_t i = clients.size(); i-- > 0;) {
        if (fds[i + 2].revents == 0 || Serve(clients[i])) continue;
        close(clients[i].fd);
        clients.erase(clients.begin() + static_cast<std::ptrdiff_t>(i));
      }
      if (fds[1].revents & POLLIN) Accept(clients);
    }
    for (const Client& client : clients) close(client.fd);
  }

  void Accept(std::vector<Client>& clients) {
    const int fd = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) return;
    if (!SameUser(fd) || clients.size() >= kMaxClients) {
      close(fd);
      return;
    }
    clients.push_back({fd, {}});
  }

  // Answers the complete lines that arrived; false when the client is done
  // (closed, broken, or sending a line too long to be a request).
  bool Serve(Client& client) {
    char buffer[256];
    const ssize_t got = recv(client.fd, buffer, sizeof buffer, 0);
    if (got <= 0) return got < 0 && (errno == EAGAIN || errno == EINTR);
    client.pending.append(buffer, static_cast<std::size_t>(got));
    for (std::size_t end; (end = client.pending.find('\n')) != std::string::npos;) {
      const std::string line = client.pending.substr(0, end);
      client.pending.erase(0, end + 1);
      if (!WriteAll(client.fd, Answer(line) + "\n")) return false;
    }
    return client.pending.size() <= kLineLimit;
  }

  std::string path_;
  int fd_ = -1;
  int stop_[2] = {-1, -1};
  std::thread thread_;
};

Listener g_listener;

// ---- the command side -----------------------------------------------------------------

int Usage(const char* why) {
  std::fprintf(stderr,
               "vantaro: %s\nusage: vantaro --call <action> [deck] [value]\n"
               "       vantaro --get <name> [deck]\n",
               why);
  return 1;
}

// The request line for `--call`; empty with `status` set when the command
// line does not fit the action.
std::string CallLine(const std::vector<std::string>& args, int* status) {
  const std::string& name = args[0];
  const int index = FindScriptAction(name.c_str());
  std::vector<int> numbers;
  for (std::size_t i = 1; i < args.size(); ++i) {
    const auto number = Integer(args[i]);
    if (!number) {
      *status = Usage("numbers expected behind the action");
      return "";
    }
    numbers.push_back(*number);
  }
  // An unknown name goes to the program all the same, which answers it.
  if (index < 0) return "call " + name + " 0 -1";
  const ScriptAction& action = ScriptActionRow(index);
  const std::size_t most = action.isGlobal ? 1 : 2;
  const std::size_t least = action.isGlobal ? 0 : static_cast<std::size_t>(action.minArgs);
  if (numbers.size() > most || numbers.size() < least) {
    *status = Usage(action.isGlobal ? "a global action takes only the value"
                                    : "a deck action takes the deck, then the value");
    return "";
  }
  const int deck = action.isGlobal ? -1 : numbers[0];
  const std::size_t valueAt = action.isGlobal ? 0 : 1;
  const int value = numbers.size() > valueAt ? numbers[valueAt] : action.defaultValue;
  return "call " + name + " " + std::to_string(deck) + " " + std::to_string(value);
}

std::string GetLine(const std::vector<std::string>& args, int* status) {
  if (args.size() > 2) {
    *status = Usage("--get takes a name and a deck");
    return "";
  }
  const auto deck = args.size() == 2 ? Integer(args[1]) : std::optional<int>(0);
  if (!deck) {
    *status = Usage("the deck is a number");
    return "";
  }
  return "get " + args[0] + " " + std::to_string(*deck);
}

// Sends `line`, returns the answer; empty when no program listens (`status`
// 2) or none came (`status` 1).
std::string Exchange(const std::string& line, int* status) {
  const std::string path = RemoteSocketPath();
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
  if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    if (fd >= 0) close(fd);
    std::fprintf(stderr, "vantaro: no program running (%s)\n", path.c_str());
    *status = 2;
    return "";
  }
  std::string answer;
  if (WriteAll(fd, line + "\n")) {
    char buffer[kLineLimit];
    pollfd wait{fd, POLLIN, 0};
    while (answer.find('\n') == std::string::npos && poll(&wait, 1, kClientWaitMs) > 0) {
      const ssize_t got = recv(fd, buffer, sizeof buffer, 0);
      if (got <= 0) break;
      answer.append(buffer, static_cast<std::size_t>(got));
    }
  }
  close(fd);
  if (answer.find('\n') == std::string::npos) {
    std::fprintf(stderr, "vantaro: the program gave no answer\n");
    *status = 1;
    return "";
  }
  answer.resize(answer.find('\n'));
  return answer;
}

}  // namespace

std::string RemoteSocketPath() {
  std::string folder;
  if (const char* home = std::getenv("VANTARO_HOME"); home && *home) {
    folder = home;
  } else if (const char* user = std::getenv("HOME"); user && *user) {
    folder = user;
  } else if (const passwd* entry = getpwuid(getuid())) {
    folder = entry->pw_dir;
  }
  const passwd* entry = getpwuid(geteuid());
  const std::string login = entry ? entry->pw_name : std::to_string(geteuid());
  if (!folder.empty() && folder.back() != '/') folder += '/';
  return folder + "XVT-" + login + ".socket";
}

bool StartRemoteListener() {
  {
    std::lock_guard<std::mutex> guard(g_exchange.lock);
    g_exchange.closing = false;
  }
  SetGuiSyncHandler(kGuiSyncRemoteRequest, &AnswerOnGuiThread);
  return g_listener.Start(RemoteSocketPath());
}

void StopRemoteListener() {
  {
    std::lock_guard<std::mutex> guard(g_exchange.lock);
    g_exchange.closing = true;
    g_exchange.answered.notify_all();
  }
  g_listener.Stop();
  SetGuiSyncHandler(kGuiSyncRemoteRequest, nullptr);
}

bool IsRemoteCommand(int argc, char** argv) {
  return argc >= 2 && (std::strcmp(argv[1], "--call") == 0 || std::strcmp(argv[1], "--get") == 0);
}

int RunRemoteCommand(int argc, char** argv) {
  const bool call = std::strcmp(argv[1], "--call") == 0;
  if (argc < 3) return Usage(call ? "--call needs an action" : "--get needs a name");
  const std::vector<std::string> args(argv + 2, argv + argc);
  for (const std::string& arg : args)
    if (arg.size() > 200 || arg.find_first_of(" \t\r\n") != std::string::npos)
      return Usage("names and numbers hold no blanks");
  int status = 0;
  const std::string line = call ? CallLine(args, &status) : GetLine(args, &status);
  if (line.empty()) return status;
  const std::string answer = Exchange(line, &status);
  if (answer.empty()) return status;
  if (answer == "unknown") {
    std::fprintf(stderr, "vantaro: unknown name \"%s\"\n", args[0].c_str());
    return 3;
  }
  if (answer.rfind("ok", 0) != 0) {
    std::fprintf(stderr, "vantaro: %s\n", answer.c_str());
    return 1;
  }
  if (!call) std::printf("%s\n", answer.size() > 3 ? answer.c_str() + 3 : "");
  return 0;
}

}  // namespace vantaro
