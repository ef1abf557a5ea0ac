// The program's messages. The texts are written here in UTF-8 and stored in
// Shift_JIS at start (stores.cpp); code reads them with msg(run, Msg::name).
#pragma once

// X(name, text): the shared messages first, then the literals of single places.
#define TANZAKU_MESSAGES(X)                                                                                                            \
  X(zero_byte, "%s\n:0バイトのファイルです。\r\n")                                                                                     \
  X(total_read, "総読み込みファイルサイズ：%s bytes\r\n")                                                                              \
  X(total_write, "総書き込みファイルサイズ：%s bytes\r\n")                                                                             \
  X(q_vs_nocheck,                                                                                                                      \
    "「ログチェックを無視する」オプションを指定した場合はｽﾚｯﾄﾞﾀｲﾄﾙ検索はできません。\r\n")                                             \
  X(mkdir_fail, "%s  :フォルダを作成できません.\r\n")                                                                                  \
  X(create_fail, "%s\n:ファイルの作成に失敗しました。\r\n")                                                                            \
  X(mv_abort, "注意：ファイルの移動ができません。中止します。\r\n")                                                                    \
  X(open_fail, "%s  :ファイルを開けません.\r\n")                                                                                       \
  X(open_fail_no, "%s  :ファイルを開けません. (エラー番号=%s)\r\n")                                                                    \
  X(sfile_open, "/s  :パス選別定義ファイル %s を開けません。(エラー番号=%s)\r\n")                                                      \
  X(read_fail, "%s  :ファイルの読み込みに失敗しました。(エラー番号=%s)\r\n")                                                           \
  X(write_fail, "%s  :ファイルの書き込みに失敗しました。\r\n")                                                                         \
  X(done_threads, "%s個のスレッドを変換しました。\r\n")                                                                                \
  X(split_mark, "(分割)")                                                                                                              \
  X(no_date, "%s\n:日付の情報を得ることができませんでした。上書きします。\r\n")                                                        \
  X(no_overwrite, "%s\n:受け側に同名のファイルが存在するので変換しません(条件:%s)\r\n")                                                \
  X(shallow,                                                                                                                           \
    "注意：指定した変換先フォルダの階層が浅いため、\r\n"                                                        \
    "　　　インデックスファイルへのリンクに不具合が生じる可能性があります。\r\n")                                                      \
  X(abort, "強制終了します。(%s)\r\n")                                                                                                 \
  X(page_fail, "%sの作成に失敗しました。\r\n")                                                                                         \
  X(finished, "変換が完了しました\r\n")                                                                                                \
  X(hash_full, "%sを処理中にハッシュテーブルがオーバーフローを起こしました。\r\n")                                                     \
  X(board_name, "掲示板名:%s%s\r\n")                                                                                                   \
  X(elapsed, "経過時間：%s 秒\r\n")                                                                                                    \
  X(no_info,                                                                                                                           \
    "注意:受け側のファイルに関する情報が足りないので、上書き可否の検証ができません。\r\n")                                             \
  X(no_index_info,                                                                                                                     \
    "注意:インデックス情報を読み込んでいないので、2回目以降の差分変換は同一スレッドの正確な" \
    "上書き回避ができない可能性があります。\r\n")                                                                                      \
  X(index_made, "インデックスファイルを作成しました。(%s%s)\r\n")                                                                      \
  X(moved, "%s個のファイルを移動しました。\r\n")                                                                                       \
  X(no_target, "変換対象ファイルが見つかりませんでした。\r\n")                                                                         \
  X(no_index, "インデックスファイルを作成しませんでした。\r\n")                                                                        \
  X(q_nofile, "/q  :query.txtが存在しないか、読み込みに失敗しました。\r\n")                                                            \
  X(q_invalid, "/q  :検索式またはquery.txtが無効です。\r\n")                                                                           \
  X(no_memory, "\r\nメモリの割り当てに失敗しました。\r\n")                                                                             \
  X(exists, "注意:%sは既に存在します。上書きします。\r\n")                                                                             \
  X(board_from, "%sから掲示板情報を参照します\r\n")                                                                                    \
  X(sfile_ok, "パス選別定義ファイル %s を読み込みました\r\n")                                                                          \
  X(idx_used, "対象ファイルと同名のidxファイルから掲示板情報を参照します\r\n")                                                         \
  X(loaded, "%s%sを読み込みました\r\n")                                                                                                \
  X(op_error, "%sを操作中にエラーが発生しました。\r\n")                                                                                \
  X(start, "変換を開始します\r\n")                                                                                                     \
  X(mv_plan, "ファイルの変換後に、変換元ファイルは%sに移動します。\r\n")                                                               \
  X(query, "検索式：%s\r\n")                                                                                                           \
  X(searching, "フォルダを検索中です。しばらくお待ちください。\r\n")                                                                   \
  X(mv_stopped, "ファイルの移動は中断されました。\r\n")                                                                                \
  X(working, "変換中です．．．．．．\r\n")                                                                                             \
  X(title_mark, " title:")                                                                                                             \
  X(unknown_form, "%s\n:不明の形式です。変換できません.\r\n")                                                                          \
  X(sfile_invalid, "パス選別定義ファイル %s は無効です。\r\n")                                                                         \
  X(const_overflow, "定数文字列用バッファがオーバーフローを起こしました。\r\n")                                                        \
  X(vari_overflow, "可変文字列用バッファがオーバーフローを起こしました。\r\n")                                                         \
  X(r_filter_open, "投稿数による絞り込み:%d-\r\n")                                                                                     \
  X(r_filter, "投稿数による絞り込み:%d-%d\r\n")                                                                                        \
  X(code_in_forced, "入力ファイルの漢字コードが%sに指定されました\r\n")                                                                \
  X(code_out_forced, "出力ファイルの漢字コードが%sに指定されました\r\n")                                                               \
  X(mv_beside, "変換先ファイルと同じ場所")                                                                                             \
  X(index_count, "%d個のインデックスファイルを作成しました。\r\n")                                                                     \
  X(zero_converted, "0個のファイルを変換しました。\r\n")                                                                               \
  X(bad_option, "%s は無効なオプションです.\n")                                                                                        \
  X(bad_o, "/o オプションの指定が無効です.\n")                                                                                         \
  X(no_t_format, "/t: 出力ファイル名の書式指定がありません．\n")                                                                       \
  X(bad_a, "注意:/a オプションの指定が無効です。\n")                                                                                   \
  X(no_log_files, "logファイルには対応しておりません。すみません。\n")                                                                 \
  X(no_file_name, "ファイル名を指定してください.\n")                                                                                   \
  X(no_drive_letter, "%c:ドライブが見つかりません。\n")                                                                                \
  X(no_network, "\n%s:ネットワークパスが見つかりません。\n")                                                                           \
  X(no_drive, "%s:ドライブが見つかりません。\n")                                                                                       \
  X(no_dir, "%s:ディレクトリが見つかりません。\n")                                                                                     \
  X(no_input, "%s:入力ファイルを開けません。\n")                                                                                       \
  X(no_share, "%s:共有名がありません。\n")                                                                                             \
  X(ts_condition, "日時による絞り込み条件：%s%s")                                                                                      \
  X(idx_tmp_fail, "index.tmpが作成できません\r\n")                                                                                     \
  X(tpl_loading, "インデックスファイル作成のためのテンプレートを読み込みます\r\n")                                                     \
  X(tpl_standard, "インデックスファイル作成のためにKAKEMONO標準のテンプレートを使用します")                                            \
  X(tpl_error, "テンプレート読み込み時にエラーが発生しました\r\n")                                                                     \
  X(tree_start, "インデックスファイルの構築を開始します\r\n")                                                                          \
  X(idx_tmp_open_fail, "%sindex.tmpのオープンに失敗しました\r\n")                                                                      \
  X(tree_table_full,                                                                                                                   \
    "各ディレクトリのインデックスファイル構築用のハッシュテーブルが溢れました。\r\n")                                                  \
  X(html_harvest_start, "htmlファイルからインデックスファイル情報の取り込みを開始します\r\n")                                          \
  X(html_harvest_none, "インデックスファイル情報は取得しませんでした\r\n\r\n")                                                         \
  X(html_harvest_done, "%s個のhtmlファイルからインデックスファイル情報を取り込みました\r\n\r\n")                                       \
  X(html_tag_missing, ":インデックスファイル情報が見つかりません。\r\n")                                                               \
  X(html_tag_invalid, ":インデックスファイル情報が正しくありません。\r\n")                                                             \
  X(idx_tmp_missing, "%sindex.tmpは存在しません\r\n")                                                                                  \
  X(idx_tmp_locked, "%sindex.tmpは既にロックされています。読み込めません\r\n")                                                         \
  X(link_check, "インデックスファイルのリンク切れをチェックしています\r\n")                                                            \
  X(idx_tmp_harvest, "%sindex.tmpからインデックス情報を取り込みます ")                                                                 \
  X(idx_tmp_harvest_done, "Ok\r\n%s件のインデックスファイル情報の取り込みを完了しました\r\n")                                          \
  X(cond_time, "タイムスタンプ")                                                                                                       \
  X(cond_size, "ファイルサイズ")                                                                                                       \
  X(cond_none, "全て上書きしない")                                                                                                     \
  X(buffer_overflow, "buffer_overflow\r\n")                                                                                            \
  X(folder_line, "%s%s\r\n")

namespace tz {

enum class Msg : int {
#define TANZAKU_MSG_ENUM(name, text) name,
  TANZAKU_MESSAGES(TANZAKU_MSG_ENUM)
#undef TANZAKU_MSG_ENUM
      kCount
};

constexpr int kMsgCount = static_cast<int>(Msg::kCount);

// The texts, in UTF-8, by Msg.
extern const char* const kMessageTexts[kMsgCount];

}  // namespace tz
