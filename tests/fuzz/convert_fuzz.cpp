// Fuzz target over the whole road of a log: the bytes become a .dat file, and the
// program converts it with settings taken from the first bytes of the input. It must
// never crash, read out of bounds or stop with a fatal error on any log.
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "cmdline/parser.h"
#include "run/driver.h"
#include "run/run.h"

namespace {

std::string g_dir;

std::string hex(unsigned v, int digits) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string s(static_cast<size_t>(digits), '0');
  for (int i = digits - 1; i >= 0; --i, v >>= 4) s[static_cast<size_t>(i)] = kDigits[v & 15];
  return s;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  char templ[] = "/tmp/tzfuzz-XXXXXX";
  if (!mkdtemp(templ)) abort();
  g_dir = templ;
  setenv("TANZAKU_HOME", g_dir.c_str(), 1);
  setenv("LC_ALL", "C", 1);
  // The program's messages and /st text are not what is being looked at.
  if (!freopen("/dev/null", "w", stdout)) abort();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 6) return 0;
  const uint8_t* s = data;
  std::string log = g_dir + "/1136041200.dat";
  std::string out = g_dir + "/out/";
  if (FILE* fp = fopen(log.c_str(), "wb")) {
    fwrite(data + 6, 1, size - 6, fp);
    fclose(fp);
  }
  mkdir(out.c_str(), 0777);

  std::vector<std::string> args = {"tanzaku"};
  // /m: the format switches of digits 1 to 4, the line limit, the forced output code.
  unsigned limit = s[2] & 0x1F;
  args.push_back("/m=" + hex((s[0] << 8) | s[1], 4) + "00" +
                 hex(((limit >> 1) << 4) | ((limit & 1) << 3), 2) + hex((s[3] & 3) << 1, 1) + "0");
  // /o: the log check, the forced input code and the head size.
  unsigned head = (s[4] & 0x80) ? (s[4] & 0x3F) : 30;
  unsigned flags = ((s[3] & 0x40) ? 0x10 : 0) | ((s[3] >> 3) & 3);
  args.push_back("/o=" + hex(flags, 2) + "1B" + hex(head, 2));
  if (s[5] & 1) args.push_back("/sp");
  if (s[5] & 2) args.push_back("/d=" + std::to_string(1 + (s[5] >> 4)));
  if (s[5] & 4) args.push_back("/st");
  if (s[5] & 8) args.push_back(s[5] & 0x40 ? "/f=7" : "/f=8");
  args.push_back(log);
  args.push_back(out);
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);

  auto run = std::make_unique<tz::Run>();
  run->waits = false;
  tz::init_run(*run);
  int single = tz::parse_command_line(*run, static_cast<int>(args.size()), argv.data());
  if (single != 2) tz::run_batch(*run, single);
  return 0;
}
