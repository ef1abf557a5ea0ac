#include "cmdline/help_pages.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>

#include "cmdline_fixture.h"
#include "codes/convert.h"

namespace tz {
namespace {

using testing_cmdline::parse;
using testing_cmdline::Parsed;

std::string printed(int con_code, const std::function<void(Run&)>& print) {
  auto run = std::make_unique<Run>();
  init_stores(*run);
  run->con_code = con_code;
  ::testing::internal::CaptureStdout();
  print(*run);
  os::flush_stdout();
  return ::testing::internal::GetCapturedStdout();
}

std::string page(HelpPage id, int con_code = kSjis) {
  return printed(con_code, [id](Run& run) { print_help_page(run, id); });
}

constexpr HelpPage kAllPages[] = {HelpPage::a, HelpPage::ck, HelpPage::f, HelpPage::i, HelpPage::l,
                                  HelpPage::m, HelpPage::mv, HelpPage::o, HelpPage::q, HelpPage::s,
                                  HelpPage::t, HelpPage::ts, HelpPage::u};

TEST(HelpPages, FormsThatAskForAPage) {
  struct Case {
    const char* arg;
    bool shown;
    HelpPage id;
  } cases[] = {
      {"/a-h", true, HelpPage::a},   {"/a-H", false, HelpPage::a},  {"-a-h", true, HelpPage::a},
      {"/ck-h", true, HelpPage::ck}, {"/CK-H", true, HelpPage::ck}, {"/f-h", true, HelpPage::f},
      {"/f-H", false, HelpPage::f},  {"/i-H", true, HelpPage::i},   {"/l-H", true, HelpPage::l},
      {"/m-h", true, HelpPage::m},   {"/m-H", false, HelpPage::m},  {"/mv-H", true, HelpPage::mv},
      {"/o-h", true, HelpPage::o},   {"/o-H", false, HelpPage::o},  {"/q-h", true, HelpPage::q},
      {"/q-H", false, HelpPage::q},  {"/s-h", true, HelpPage::s},   {"/s-H", false, HelpPage::s},
      {"/t-h", true, HelpPage::t},   {"/t-H", false, HelpPage::t},  {"/ts-H", true, HelpPage::ts},
      {"/u-H", true, HelpPage::u},   {"/ax-h", false, HelpPage::a},
  };
  for (const Case& c : cases) {
    // The page comes at its option and ends the run before the path is looked at.
    Parsed p = parse({c.arg, "NUL"});
    if (c.shown) {
      EXPECT_EQ(p.result, 2) << c.arg;
      EXPECT_EQ(p.out, page(c.id)) << c.arg;
    } else {
      EXPECT_EQ(p.result, 1) << c.arg;
      EXPECT_NE(p.out, page(c.id)) << c.arg;
    }
  }
  EXPECT_EQ(parse({"/m-H", "NUL"}).run->cmdm.m & 0xFFFF, 0u);  // a value that clears
  EXPECT_EQ(parse({"/f-H", "NUL"}).run->cmdm.f, 'H');
}

TEST(HelpPages, ConsoleCodeIsTheOneInForceAtThePage) {
  std::string sjis = page(HelpPage::a);
  EXPECT_EQ(parse({"/ck=UTF8", "/a-h"}).out, utf8_from_sjis(sjis));
  EXPECT_EQ(parse({"/a-h", "/ck=UTF8"}).out, sjis);
  EXPECT_EQ(parse({"/h=utf8"}).out, utf8_from_sjis(parse({"/h"}).out));
}

TEST(HelpPages, EveryPageReachesAUtf8ConsoleWhole) {
  // Each line is told apart as Shift_JIS by the console; a line taken for another code
  // would come out garbled.
  for (HelpPage id : kAllPages) {
    std::string sjis = page(id);
    EXPECT_FALSE(sjis.empty());
    EXPECT_EQ(page(id, kUtf8), utf8_from_sjis(sjis)) << static_cast<int>(id);
    EXPECT_EQ(sjis_from_utf8(utf8_from_sjis(sjis)), sjis) << static_cast<int>(id);
  }
  for (auto print : {print_short_page, print_long_page}) {
    EXPECT_EQ(printed(kUtf8, print), utf8_from_sjis(printed(kSjis, print)));
  }
}

TEST(HelpPages, OptionLinesLineUpTheirDetailColumn) {
  // In Shift_JIS a full-width character is two bytes and two columns wide, so the
  // column of "(詳しくは" is its byte offset in the line.
  const std::string key = sjis_from_utf8("(詳しくは tanzaku /");
  for (auto print : {print_short_page, print_long_page}) {
    std::istringstream lines(printed(kSjis, print));
    int seen = 0;
    for (std::string line; std::getline(lines, line);) {
      size_t at = line.find(key);
      if (at == std::string::npos) continue;
      ++seen;
      EXPECT_EQ(at, 48u) << utf8_from_sjis(line);
    }
    EXPECT_GE(seen, 6);
  }
}

TEST(HelpPages, PercentSignsAndTheVersionLine) {
  std::string t = utf8_from_sjis(page(HelpPage::t));
  EXPECT_NE(t.find("%05num%"), std::string::npos);
  EXPECT_EQ(t.find("%%"), std::string::npos);
  EXPECT_EQ(parse({"--version"}).out, "tanzaku Ver. 0.35f FIX\n");
  EXPECT_EQ(parse({"--version"}).result, 2);
  Parsed help = parse({"/ck=EUC", "--help"});
  EXPECT_EQ(help.result, 2);
  EXPECT_EQ(help.out, printed(kEuc, print_long_page));
  // Without arguments: the short page, which ends by naming the long one.
  std::string short_page = utf8_from_sjis(parse({}).out);
  EXPECT_EQ(short_page, utf8_from_sjis(printed(kSjis, print_short_page)));
  EXPECT_NE(short_page.find("tanzaku /hと入力してください\n"), std::string::npos);
}

}  // namespace
}  // namespace tz
