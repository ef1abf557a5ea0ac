// Working state of the thread converter, kept between posts of one thread.
#pragma once

#include <string>

namespace tz {

struct ConvertState {};

}  // namespace tz
