#include "run/console.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "codes/convert.h"
#include "codes/guess.h"
#include "platform/os.h"
#include "run/fatal.h"
#include "run/run.h"

namespace tz {

namespace {

constexpr size_t kConsoleRoom = 4096;
constexpr size_t kSayRoom = 1024;

std::string cut(std::string_view text, size_t room) {
  return std::string(text.substr(0, text.size() < room ? text.size() : room - 1));
}

// Brings a text of any code into the code of a channel (2 EUC-JP or 3 UTF-8).
void to_channel_code(Run& run, std::string& text, int code, size_t room) {
  if (code != kEuc && code != kUtf8) return;
  int found = guess_code(text.c_str(), static_cast<long>(room));
  convert_code(run, text, found, code, room * 3);  // room enough for any growth
}

void log_write(Run& run, const std::string& text) {
  if (run.log_fp) std::fwrite(text.data(), 1, text.size(), run.log_fp);
}

}  // namespace

std::string format_s(std::string_view format, const char* a, const char* b, const char* c) {
  const char* args[3] = {a ? a : "", b ? b : "", c ? c : ""};
  int next = 0;
  std::string out;
  out.reserve(format.size() + 64);
  for (size_t i = 0; i < format.size(); ++i) {
    char ch = format[i];
    if (ch == '%' && i + 1 < format.size()) {
      if (format[i + 1] == 's') {
        if (next < 3) out += args[next++];
        ++i;
        continue;
      }
      if (format[i + 1] == '%') {
        out += '%';
        ++i;
        continue;
      }
    }
    out += ch;
  }
  return out;
}

void con_write(Run& run, std::string_view text) {
  std::string line = cut(text, kConsoleRoom);
  to_channel_code(run, line, run.con_code, kConsoleRoom);
  os::write_stdout(line.data(), line.size());
}

void con_print(Run& run, const char* format, ...) {
  char buf[kConsoleRoom];
  va_list ap;
  va_start(ap, format);
  int n = std::vsnprintf(buf, sizeof buf, format, ap);
  va_end(ap);
  if (n < 0) return;
  con_write(run, std::string_view(buf, static_cast<size_t>(n) < sizeof buf ? n : sizeof buf - 1));
}

void say(Run& run, const char* format, const char* a, const char* b, const char* c) {
  if (run.cmdm.st) return;
  std::string fmt = cut(format, kSayRoom);
  uint8_t mode = run.cmdm.conmode;
  if (mode != 2) con_write(run, format_s(fmt, a, b, c));
  // In the log a path stays on the line of its message.
  if (fmt.compare(0, 4, "%s\n:") == 0) fmt.replace(0, 4, "%s :");
  if (mode == 1 || !run.log_fp) return;
  int code = run.cmdm.l_code;
  if (code == 0 || code == kSjis) {
    log_write(run, format_s(fmt, a, b, c));
    return;
  }
  // The log speaks one code: take the code of b, else of a, for the whole message.
  std::string parts[4] = {fmt, cut(a ? a : "", kSayRoom), cut(b ? b : "", kSayRoom),
                          cut(c ? c : "", kSayRoom)};
  int code_a = guess_code(parts[1].c_str(), kSayRoom);
  int code_b = guess_code(parts[2].c_str(), kSayRoom);
  int source = code_b > kSjis ? code_b : code_a > kSjis ? code_a : kSjis;
  for (std::string& part : parts) {
    clean_text(part, source, kSayRoom);
    convert_code(run, part, source, code, kSayRoom);
  }
  log_write(run, format_s(parts[0], parts[1].c_str(), parts[2].c_str(), parts[3].c_str()));
}

void open_log(Run& run) {
  Cmdm& c = run.cmdm;
  if (!c.l && !c.v) {
    c.conmode = 1;
    return;
  }
  std::string path = c.exe_dir + run.str.log_name;
  run.log_fp = std::fopen(path.c_str(), "wb");
  if (!run.log_fp) {
    // /l is off from here; /v keeps conmode 0, which then reaches the console alone.
    c.conmode = c.v ? 0 : 1;
    c.l = false;
    return;
  }
  if (c.l)
    c.conmode = c.ck ? 0 : 2;
  else
    c.conmode = 0;
}

namespace {

// Folder names of `path` counted from its end, folder 1 holding the file.
std::string folder_name(const std::string& path, int n, size_t* end_of_folder) {
  size_t end = path.rfind(os::kSep);  // separator behind folder 1
  for (int i = 1; i < n; ++i) {
    if (end == std::string::npos || end == 0) return std::string();
    end = path.rfind(os::kSep, end - 1);
  }
  if (end == std::string::npos || end == 0) return std::string();
  size_t start = path.rfind(os::kSep, end - 1);
  if (start == std::string::npos) return std::string();
  *end_of_folder = end + 1;
  return path.substr(start + 1, end - start - 1);
}

}  // namespace

void leave_run(Run& run, const std::string& path, int flag, int status) {
  const Cmdm& c = run.cmdm;
  if (c.v_mode != 0) {
    std::string result;
    if (c.v_mode == 2) {
      result = run.paths.out_root;
    } else if (!path.empty()) {
      size_t end = 0;
      std::string f3 = folder_name(path, 3, &end);
      if (f3 == "log" || f3 == "dat" || f3 == "Cache" || f3 == ".navi2ch")
        result = path.substr(0, end);
      std::string f4 = folder_name(path, 4, &end);
      if (f4 == "dat" || f4 == "Logs" || f4 == ".2ch") result = path.substr(0, end);
      if (result.empty() && flag == 1) {
        std::string f2 = folder_name(path, 2, &end);
        size_t dots = 0;
        for (char ch : f2) dots += ch == '.';
        if (dots >= 2 && !folder_name(path, 3, &end).empty()) result = path.substr(0, end);
      }
      if (result.empty() && !folder_name(path, 2, &end).empty()) result = path.substr(0, end);
    }
    if (!c.exe_dir.empty()) {
      if (std::FILE* fp = std::fopen((c.exe_dir + "inidir.txt").c_str(), "wb")) {
        if (status == 0 || (status == 2 && c.src_null)) {
          result += "\r\n";
          std::fwrite(result.data(), 1, result.size(), fp);
        }
        std::fclose(fp);
      }
    }
  }
  os::flush_stdout();
  if (c.v) wait_seconds(run, 3);
}

std::string sjis_path(std::string_view path) {
  return sjis_from_utf8(path);
}

}  // namespace tz
