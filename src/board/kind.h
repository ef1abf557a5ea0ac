// The board kind of a thread: its code and its name.
#pragma once

namespace tz {

struct Run;
struct Sflg;

// The code of the board kind: the sum of the weights of the flags set (0 to 9).
int bbs_code(const Sflg& f);
// Writes sflg.bbs_name, the name of the board kind, in Shift_JIS.
void set_bbs_name(Run& run);

}  // namespace tz
