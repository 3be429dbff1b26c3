#include "devices/midi_names.h"

#include <cctype>

namespace vantaro {
namespace {

bool IsDigit(char c) {
  return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

// Position of the digits run that ends at `end` (exclusive); `end` when none.
std::size_t DigitsStart(const std::string& text, std::size_t end) {
  std::size_t start = end;
  while (start > 0 && IsDigit(text[start - 1])) --start;
  return start;
}

// "name 24:0" -> "name".
std::string WithoutAlsaNumbers(const std::string& name) {
  const std::size_t portStart = DigitsStart(name, name.size());
  if (portStart == name.size() || portStart == 0 || name[portStart - 1] != ':') return name;
  const std::size_t clientStart = DigitsStart(name, portStart - 1);
  if (clientStart == portStart - 1 || clientStart == 0 || name[clientStart - 1] != ' ') return name;
  return name.substr(0, clientStart - 1);
}

// Every " [digits]" removed.
std::string WithoutBracketedNumbers(const std::string& name) {
  std::string out;
  out.reserve(name.size());
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (name[i] == ' ' && i + 2 < name.size() && name[i + 1] == '[') {
      const std::size_t close = name.find(']', i + 2);
      const std::size_t digitsEnd = close == std::string::npos ? i + 2 : close;
      if (close != std::string::npos && close > i + 2 && DigitsStart(name, digitsEnd) == i + 2) {
        i = close;
        continue;
      }
    }
    out += name[i];
  }
  return out;
}

// "client-01:port" -> "client:port": the suffix JACK gives a second client
// of the same name.
std::string WithoutJackClientSuffix(const std::string& name) {
  const std::size_t colon = name.find(':');
  const std::size_t end = colon == std::string::npos ? name.size() : colon;
  if (end < 4 || name[end - 3] != '-' || !IsDigit(name[end - 2]) || !IsDigit(name[end - 1]))
    return name;
  return name.substr(0, end - 3) + name.substr(end);
}

}  // namespace

std::string StableMidiPortName(MidiApi api, const std::string& serviceName) {
  if (api == MidiApi::kAlsa) return WithoutAlsaNumbers(serviceName);
  return WithoutJackClientSuffix(WithoutBracketedNumbers(serviceName));
}

bool IsOwnMidiPort(const std::string& stableName, const std::string& clientName) {
  return stableName.compare(0, clientName.size() + 1, clientName + ":") == 0;
}

}  // namespace vantaro
