// State of the folder walk and of a folder's file list.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace tz {

struct WalkState {};

}  // namespace tz
