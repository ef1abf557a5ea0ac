#include "board/kind.h"

#include "codes/convert.h"
#include "run/run.h"

namespace tz {

int bbs_code(const Sflg& f) {
  int sum = (f.k_2ch ? 9 : 0) + (f.k_pink ? 8 : 0) + (f.k_be ? 7 : 0) + (f.k_machi ? 6 : 0) +
            (f.k_milkcafe ? 5 : 0) + (f.k_shitaraba ? 4 : 0) + (f.k_lv3 ? 3 : 0) +
            (f.k_none ? 1 : 0);
  if (sum == 0 && f.k_other) sum = 2;
  return sum > 9 ? 0 : sum;
}

void set_bbs_name(Run& run) {
  static const char* const kNames[10] = {
      "",         "",           "",       "Level3-BBS", "したらば",
      "milkcafe", "まちＢＢＳ", "Be.2ch", "BBSPINK",    "２ちゃんねる"};
  run.sflg.bbs_name = sjis_from_utf8(kNames[bbs_code(run.sflg)]);
}

}  // namespace tz
