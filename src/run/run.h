// The one context of a run: every record of the program, owned by main and handed
// by reference to the subsystems. A test builds a fresh Run.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "log/source.h"
#include "log/walk_state.h"
#include "place/writer.h"
#include "run/convert_behind.h"
#include "run/records.h"
#include "run/stores.h"
#include "text/convert_state.h"

namespace tz {

struct Run {
  Run() = default;
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  Cmdm cmdm;
  Sflg sflg;
  Batch batch;
  Paths paths;
  BoardSlot brd[5];  // 0 merged, 1 side files, 2 browsers' files, 3 others.brd, 4 2channel.brd
  Stores str;

  // Codes of this thread and of the pages.
  uint8_t code_out = 0;
  uint8_t code_conv = 0;
  uint8_t code_list = 0;
  uint8_t code_tree = 0;
  uint8_t tpl_code_list = 0;
  uint8_t tpl_code_tree = 0;

  // Streams: the log, the current output, index.tmp, the current index page.
  std::FILE* log_fp = nullptr;
  OutputFile out;                         // the thread text being written
  std::shared_ptr<WriteBehind> writer;    // writes the outputs of a batch behind it
  std::unique_ptr<ConvertBehind> behind;  // converts whole threads behind the reading
  std::FILE* idx_fp = nullptr;
  std::FILE* page_fp = nullptr;

  Totals totals;
  int last_err = 0;   // error number kept for the file messages
  int con_code = 3;   // code the console is written in: /ck, else the locale's
  bool waits = true;  // the pauses of fatal stops and /v; tests switch them off
  int best_pos = 0;   // position of the winning board source of the previous folder
  int brd_files = 0;  // board lists loaded, 0 to 2

  // Work areas.
  SourceFile source;                   // the source log's status and descriptor
  LogBuffer log;                       // buffer.sfile: the whole log of the thread in hand
  std::vector<char> head;              // buffer.global: the head read by identification
  std::string scratch;                 // room for conversions that grow a text
  ByteBlock conv_block;                // the same for whole logs: grown, never cleared
  LineFields line;                     // the fields of the log line in hand
  Post post;                           // buffer.clog rows 1 to 4
  std::string excerpt;                 // buffer._1san: excerpt of post 1
  size_t pos_1 = 0;                    // its length
  bool excerpt_made = false;           // buffer._1san exists
  std::vector<std::string> dfile_div;  // names of the pieces of a split, from index 0
  WalkState walk;                      // folder walk, file list, selection list
  ConvertState conv;                   // working state of the thread converter
};

}  // namespace tz
