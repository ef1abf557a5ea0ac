#include "text/head_foot.h"

#include <charconv>
#include <cstdio>
#include <string>

#include "codes/convert.h"
#include "place/output.h"
#include "platform/os.h"
#include "run/console.h"
#include "run/run.h"

namespace tz {

namespace {

constexpr size_t kNameRoom = 1024;  // room of a board name converted to the output code

// A word of the program (UTF-8 here) appended in the output code.
void append_word(Run& run, std::string& out, const char* utf8) {
  std::string word = sjis_from_utf8(utf8);
  if (run.code_out == kEuc || run.code_out == kUtf8) {
    convert_code(run, word, kSjis, run.code_out, word.size() * 3 + 4);
  }
  out += word;
}

void report_write_fail(Run& run) {
  say(run, msg(run, Msg::write_fail), sjis_path(run.paths.out_path).c_str());
}

}  // namespace

bool write_text(Run& run, std::string_view text) {
  if (text.empty()) return true;
  if (run.cmdm.st) {
    os::write_stdout(text.data(), text.size());
    return true;
  }
  return append_output(run, text);
}

void write_thread_head(Run& run) {
  const Cmdm& cm = run.cmdm;
  const Sflg& f = run.sflg;
  const std::string& board = run.brd[0].name;
  std::string& head = run.conv.text;
  head.clear();
  if (m_head_board(cm) && !board.empty() && f.k_abroad == 0) {
    append_word(run, head, "掲示板名：");
    if (f.k_machi != 0) append_word(run, head, "まちＢＢＳ");
    std::string name = board;
    if (run.code_out >= kSjis && run.code_out <= kUtf8) {
      convert_code(run, name, kCodeAuto, run.code_out, kNameRoom);
    }
    head += name;
  }
  if (m_head_url(cm) && !f.thread_url.empty() && f.key != 0) {
    // The TAB goes by the settings alone, so an abroad thread's line opens with it.
    if (m_head_board(cm) && !board.empty()) head += '\t';
    head += f.thread_url;
  }
  if (!head.empty()) {
    head += run.str.newline.view();
    head += run.str.newline.view();
  }
  if (!write_text(run, head)) report_write_fail(run);
}

void write_thread_foot(Run& run) {
  if (!m_foot_size(run.cmdm) || run.cmdm.st) return;
  std::string& foot = run.conv.text;
  foot.assign(run.str.rule_line.view());
  foot += run.str.newline.view();
  foot += '[';
  char num[24];
  auto res = std::to_chars(num, num + sizeof num, run.sflg.fsize_kb);
  foot.append(num, res.ptr);
  foot += " KB";
  foot += ']';
  foot += run.str.newline.view();
  if (!write_text(run, foot)) report_write_fail(run);
}

}  // namespace tz
