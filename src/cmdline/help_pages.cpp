#include "cmdline/help_pages.h"

#include <cstdio>
#include <span>
#include <string>
#include <string_view>

#include "codes/convert.h"
#include "run/console.h"
#include "run/run.h"

namespace tz {

namespace {

// The texts are kept in UTF-8 here and reach the console through con_print as
// Shift_JIS, so %s stands for the program's name and %% prints one %. The blanks,
// full-width and half-width, line up the column of "(詳しくは"; they belong to the text.

constexpr const char* kProg = "tanzaku";

constexpr const char* kVersionLine = "%s Ver. %s\n";
constexpr const char* kWhatItDoes = "2ch等のログデータ(*.dat)をﾌﾟﾚｰﾝﾃｷｽﾄ形式(txt)に変換します\n";
constexpr const char* kUsageLine =
    "%s [/a/c/ck/ct/d/f/i/l/m/mv/o/q/r/s/sp/st/t/ts/u/z] 入力ﾌｧｲﾙ [出力ﾃﾞｨﾚｸﾄﾘ]\n";
constexpr const char* kShortHead = "%s%s使用法:\n%s\n主要なオプション:\n";
constexpr const char* kShortTail =
    "使用できるすべてのオプションを表示するには%s /hと入力してください\n";
constexpr const char* kLongHead = "%s%s使用法:\n%sオプション:\n";

// An option line is formatted into a buffer of its own; the line of /u needs two rows.
constexpr size_t kOptionRoom = 80;
constexpr size_t kOptionRoomU = 160;

struct OptionLine {
  const char* name;
  const char* text;
};

// clang-format off
constexpr OptionLine kOptionLines[] = {
    {"/a", "/a         :出力ディレクトリの振り分けを設定する(詳しくは %s /a-hで)\n"},
    {"/c", "/c         :カレントディレクトリに出力する\n"},
    {"/ck", "/ck        :ｺﾝｿｰﾙに出力する漢字コードを指定する (詳しくは %s /ck-hで)\n"},
    {"/ct", "/ct        :出力ファイルの最終書き込み時刻を入力ファイルのものと同じにする\n"},
    {"/d", "/d=x       :変換後のファイルをx投稿毎に分割する\n"},
    {"/f", "/f=x    　 :掲示板種別を強制指定する　　　　　　(詳しくは %s /f-hで)\n"},
    {"/i", "/i         :インデックスファイルを出力する　　　(詳しくは %s /i-hで)\n"},
    {"/l", "/l         :tanzaku_log.txtを出力する　       　(詳しくは %s /l-hで)\n"},
    {"/m", "/m         :変換時の書式を設定する        　　　(詳しくは %s /m-hで)\n"},
    {"/mv", "/mv=\"path\" :変換後に変換元ファイルを移動する    (詳しくは %s /mv-hで)\n"},
    {"/o", "/o         :実行ファイルの詳細な動作を設定する　(詳しくは %s /o-hで)\n"},
    {"/q", "/q=\"query\" :スレッドタイトルの検索式を指定する  (詳しくは %s /q-hで)\n"},
    {"/r", "/r=xxx-ooo :投稿数がxxx以上ooo以下のファイルのみを変換する\n"},
    {"/s", "/s         :すべてのｻﾌﾞﾃﾞｨﾚｸﾄﾘを変換対象にする  (詳しくは %s /s-hで)\n"},
    {"/sp", "/sp        :行頭スペースを省略する\n"},
    {"/st", "/st        :標準出力に出力する\n"},
    {"/t", "/t         :出力ファイル名を指定する     　　　 (詳しくは %s /t-hで)\n"},
    {"/ts", "/ts        :日時を基準にしてファイルを絞り込む  (詳しくは %s /ts-hで)\n"},
    {"/u", "/u         :受け側に同名のファイルがある場合の上書き条件を設定する\n                                                (詳しくは %s /u-hで)\n"},
    {"/z", "/z         :ファイル名が掲示板のログファイルと思われるもののみ変換する"},
};

constexpr const char* kShortOptions[] = {"/a", "/c", "/d", "/i", "/m", "/q", "/s", "/t"};
constexpr const char* kLongOptions[] = {
    "/a", "/c", "/ck", "/ct", "/d", "/f", "/i", "/l", "/m", "/mv",
    "/o", "/q", "/r", "/s", "/sp", "/st", "/t", "/ts", "/u", "/z"};

constexpr const char* kPageA[] = {
    "/a オプションの詳細\n",
    "(書式) /a=[B][s][b|n][f|F][d][r][c]\n\n",
    "・出力ディレクトリに付加する文字列(付加順に指定してください)\n",
    "　B : 掲示板種別\n",
    "　s : サーバ名\n",
    "　b : 板ディレクトリ名\n",
    "　n : 板名(カテゴリの名称)\n",
    "　f : スレッドキーが9桁なら先頭3桁、10桁なら先頭4桁の数字\n",
    "　F : 過去ログ倉庫形式 (例:kako\\1234\\12345\\)\n",
    "　d : 日付             (例:200508)\n",
    "・その他のオプション(どの部分で指定しても構いません)\n",
    "　r : 変換元のディレクトリ構造を再現する\n",
    "  c : 全て同じディレクトリに出力する\n",
    "指定例:\n",
    "/a=Bsbf :[出力ルート]\\[掲示板種別]\\[サーバ名]\\[板ディレクトリ名]\\dddd\\ \n",
    "/a=sbF  :[出力ルート]\\[サーバ名]\\[板ディレクトリ名]\\kako\\dddd\\ddddd\\ \n",
    "/a=r    :[出力ルート]\\[入力ファイルのディレクトリ構造]\\ \n",
    "/a=nd   :[出力ルート]\\[板名]\\[YYYYMM]\\ \n",
};

constexpr const char* kPageCk[] = {
    "/ck option detail\n",
    "usage:/ck=[SJIS|EUCJP|UTF8]\n",
    "You can choose multibytecode for console-output.\n",
    "Ex: /ck=UTF8\n",
};

constexpr const char* kPageF[] = {
    "/f オプションの詳細 /f=x(任意の1文字)\n\n",
    "1.2ch　　　　　　　　　　　　　　　\n",
    "2.BBSPINK　　　　　　　　　　　　　\n",
    "3.Be@2ch　　　　　　　　　　　　　 \n",
    "4.まちＢＢＳ　　　　　　　　　　　 \n",
    "6.したらば　　　　　　　　　　　　 \n",
    "7.World 2ch                        \n",
    "8.Taiwan 2ch　　　　　　　　　　　 \n",
    "x.その他の掲示板　　　　　　　　　 \n",
    "(read.cgi種別指定オプションは /mオプションに移動しました)\n",
};

constexpr const char* kPageI[] = {
    "/i オプションの詳細\n",
    "/i[=|:][n|f|l|L|r|x][u|d][0|1|2|3][0|1|2|3]......[:[fn=][tr=][tl=]\"ﾌｧｲﾙ名\"]\n",
    "\n",
    "■アルファベット部分\n",
    "1. 画像ファイルのコピー指定\n",
    "   '=' ｺﾋﾟｰしない           ':' 画像ﾌｧｲﾙを出力ﾌｫﾙﾀﾞにｺﾋﾟｰする\n",
    "2. スレッドの並び替え(項目)\n",
    "   'n' 名前順               'f' スレッド作成日時順  'l' 最新書き込み順※\n",
    "   'L' 最新書き込み順(標準) 'r' 投稿数              'x' 並び替えしない\n",
    "   ※メール欄にsageの文字列が含まれる書き込みは最新書き込みに含みません。\n",
    "3. スレッドの並び替え(並び順)\n",
    "   'u' 昇り順               'f' 降り順(標準)\n\n",
    "■2 or 4進数部分\n",
    " 1.スレッド順位の出力　　　　　1:出力する(標準)     0:出力しない\n",
    " 2.投稿数の出力　　　　　　　　1:出力する(標準)     0:出力しない\n",
    " 3.変換対象外のｽﾚｯﾄﾞ　　　 　　1:リストに含める　　 0:含めない(標準)\n",
    " 4.1の内容　　　　　　　　　 　1:出力する　　　　　 0:出力しない(標準)\n",
    " 5.ｲﾝﾃﾞｯｸｽﾌｧｲﾙの構築方法1  　　1:作成ディレクトリ毎 0:datﾌｧｲﾙのﾃﾞｨﾚｸﾄﾘ毎(標準)\n",
    " 6.ｲﾝﾃﾞｯｸｽﾌｧｲﾙの構築方法2 　　 1:1つにまとめる      0:datﾌｧｲﾙのﾃﾞｨﾚｸﾄﾘ毎(標準)\n",
    " 7.htmlからのｲﾝﾃﾞｯｸｽ情報の取込 1:取り込みを試みる　 0:取り込まない(標準)\n",
    " 8.index.tmpからの情報の取込   1:取り込みを試みる　 0:取り込まない(標準)\n",
    " 9.ﾃﾝﾌﾟﾚｰﾄﾌｧｲﾙの読み込み       1:読み込む(標準)     0:読み込まない\n",
    "10.出力漢字コード　　　　　　  1:SHIFT_JIS          2:EUC-JP\n",
    "                               3:UTF-8              0:自動(標準)\n",
    "11.スレッドの日付              1:出力する(標準)     0:出力しない\n",
    "12.標準ﾃﾝﾌﾟﾚｰﾄの種類           1:シンプル           0:装飾付き(標準)\n\n",
    "■ファイル名とパスの指定部分\n",
    " :fn=\"ファイル名\" インデックスファイル名の指定\n",
    " :tr=\"パス\"       ｲﾝﾃﾞｯｸｽﾃﾝﾌﾟﾚｰﾄ パスの指定(フォルダ毎作成時のファイル)\n",
    " :tl=\"パス\"       ｲﾝﾃﾞｯｸｽﾃﾝﾌﾟﾚｰﾄ パスの指定(スレッド一覧のファイル)\n",
    " (/iの後方でスペースを挟まずに指定してください)\n",
    "例）\n",
    "/i=Ld110000001010\n",
    "  標準の設定\n",
    "/i=nd:fn=\"hoge.htm\"\n",
    "  名前順で降り順に並び替え、インデックスファイルをhoge.htmにする\n",
    "/i=00\n",
    "  スレッド番号、投稿数を出力しない(ｽﾚｯﾄﾞﾀｲﾄﾙのみのﾘﾝｸﾘｽﾄを作成時にお勧め)\n",
    "/i=:tr=\"e:\\usridx\\tree\":tl=\"e:\\usridx\\threadlist\"\n",
    "  テンプレートの場所をe:\\usridx\\treeとe:\\usridx\\threadlistに指定する\n",
};

constexpr const char* kPageL[] = {
    "/l オプションの詳細\n",
    "(書式)　/l=[SJIS|EUCJP|UTF8]\n\n",
    "/l=[漢字コード] : 変換出力ログの漢字コードを指定する(SJIS,EUC-JP,UTF-8)\n",
    "例: /l=UTF8\n",
    "※コンソール出力と変換ログ出力の両方を行いたい場合は/lオプションに加えて\n",
    "  /ckオプションを付加してください\n",
};

constexpr const char* kPageM[] = {
    "/m オプションの詳細 /m=(6桁の16進数)\n",
    "1バイト目 bit1    1:名前欄に「名前」の文字を付加する               0:付加しない\n",
    "1バイト目 bit2    1:日付欄に「投稿日」の文字を付加する             0:付加しない\n",
    "1バイト目 bit3    1:メールアドレスを直接表示する(OpenJane方式)     0:普通の表示\n",
    "1バイト目 bit4    1:スレッドタイトルを表示しない                   0:表示する\n",
    "2バイト目 bit1,2 11:日付欄に曜日を付加する    　　　　　    　    10:削除する\n",
    "                 01:日付の独自表記を削除し、強制的に再付加する    00:変更しない\n",
    "2バイト目 bit3    1:ファイルの最後にdatファイルの容量を表示する    0:表示しない\n",
    "2バイト目 bit4    0:常に0を指定してください。\n",
    "3バイト目 bit1    1:スレッドタイトルの先頭の半角スペースを除去する 0:除去しない\n",
    "3バイト目 bit2    1:名前欄の両端の半角スペースを削除する           0:削除しない\n",
    "3バイト目 bit3    1:改行コードをLFにする                           0:CRLFにする\n",
    "3バイト目 bit4    0:常に0を指定してください。\n",
    "4バイト目 bit1    1:掲示板名を先頭に付加する                       0:付加しない\n",
    "4バイト目 bit2    1:元のスレッドのアドレスを先頭に付加する         0:付加しない\n",
    "4バイト目 bit3,4  0:常に0を指定してください。\n",
    "5バイト目 bit1~4  0:常に0を指定してください。\n",
    "6バイト目 bit1~4  0:常に0を指定してください。\n",
    "例えば、/m=800000 のように指定してください。\n",
};

constexpr const char* kPageMv[] = {
    "/mv オプションの詳細 /mv=\"path\"[::r]\n",
    "path  :移動先のパス(指定が無いと変換先ディレクトリと同じ場所に移動します)\n",
    "::r   :変換元ファイルに関連するファイルも移動する(*.idx,*.infファイルなど)\n",
    "例えば、/mv=\"d:\\hoge\"::r のように指定してください。\n",
};

constexpr const char* kPageO[] = {
    "/o オプションの詳細 /o=(6桁の16進数)\n",
    "1バイト目 bit1   1:idx、infファイルを読み込まない　　　　　　0:読み込む\n",
    "1バイト目 bit2   1:専用ブラウザのﾎﾞｰﾄﾞﾌｧｲﾙを読み込まない　　 0:読み込む\n",
    "1バイト目 bit3   1:カレントのボードファイルを読み込まない  　0:読み込む\n",
    "1バイト目 bit4   1:ログチェックを無視する　　　　　　　　　　0:無視しない\n",
    "2バイト目 bit1   1:受け側のファイルの存在を調査しない        0:調査する\n",
    "2バイト目 bit2   0:常に0を指定してください。\n",
    "2バイト目 bit3,4 00:入力ﾌｧｲﾙの漢字ｺｰﾄﾞをは自動判別　　　01:常にSHIFT_JISとする\n",
    "                 10:常にEUCとする 　　　　　　　　　　　11:常にUTF-8とする\n",
    "3,4バイト目　　　掲示板情報の優先順位(順に2bitずつ並べて2桁の16進数で指定)\n",
    "　　　　　　　　 00:idx･infファイル　　　　 　01:専用ブラウザ等のﾎﾞｰﾄﾞﾌｧｲﾙ\n",
    "　　　　　　　　 10:カレントのothers.brd　　　11:カレントの2channel.brd\n",
    "5,6バイト目　　  入力ファイルを識別するために読み込む最大ヘッダーサイズ(KB単位)\n",
    "例えば、/o=E01B1E のように指定してください。\n",
};

constexpr const char* kPageQ[] = {
    "/q オプションの詳細\n",
    "(書式)　/q=\"検索式\"\n\n",
    "/q         ：実行ファイルと同じディレクトリからquery.txtを読み込み\n",
    "            １行目の内容を検索式とする\n",
    "/q=\"hoge\"  ：スレッドタイトルの検索式を「hoge」にする\n\n",
    "複数の検索式はスペースで区切ってください。標準はOR検索です。AND検索の場合は\n",
    "「+」を、NOT検索の場合は「-」を検索式の先頭に入れてください。先頭に+や-が入る\n",
    "検索式は検索式の両端を「\"」で挟んでください。\n\n",
    "例:\n",
    "・「フリー」と「ソフト」をスレッドタイトルに含むファイルを検索\n",
    "　/q=\"+フリー +ソフト\"\n",
    "・target=\"_blank\"をスレッドタイトルに含むファイルを検索\n",
    "　/q=\"target=\\\"_blank\\\"\" (バックスラッシュのエスケープに注意)\n",
    "・「+」も「-」もスレッドタイトルに含まないファイルを検索\n",
    "　/q=\"-\"+\" -\"-\"\"\n",
};

constexpr const char* kPageS[] = {
    "/s オプションの詳細\n",
    "/s=1  :インデックスファイルを1つにまとめる\n",
    "/s=c  :出力ディレクトリを全て同じにする\n",
    "/s=:\"定義ﾌｧｲﾙ名\" :対象ファイルのパスを基準にして変換条件を選択する\n",
    "/s=1c:\"定義ﾌｧｲﾙ名\" という風に併用可能。\n",
    "(/s=1オプションに関しては、/iオプションを、\n",
    " /s=cオプションに関しては、/aオプションでも同様の指定が可能です。)\n",
};

constexpr const char* kPageT[] = {
    "/t オプションの詳細 /t=\"出力ファイル名の書式\"\n",
    "/tのみ:変換後のファイル名をスレッドの題名にする\n\n",
    "書式指定で使用できる項目\n",
    "%%num%% 　　　　　　　:ディレクトリ単位における変換の順番  \n",
    "%%0(桁数)num%%　　　　:※ディレクトリ単位における変換の順番\n",
    "%%sfilename%%         :変換元ファイル名                    \n",
    "%%threadtitle%%       :スレッドタイトル                    \n",
    "%%boarddirname%%      :板ディレクトリ名(掲示板情報が必要)  \n\n",
    "※値が指定桁数未満の場合は先頭に0が付加されます。\n",
    "例:書式が%%05num%%で123番目のファイルの場合は00123.htmlになります。\n",
};

constexpr const char* kPageTs[] = {
    "/ts オプションの詳細\n",
    "　/ts=[14桁以下の数字][-][14桁以下の数字],[c|f|l|m]\n",
    "(日時の指定)\n",
    "　年は4桁、月,日,時,分,秒は2桁の数字で表記してください\n",
    "　特定の日時を表記したい場合は日時の前に\n",
    "　年はY,月はM,日はD,時はh,分はm,秒はsを入れます\n",
    "　2つの日時の間を\"-\"で挟むことによって日時の範囲を指定することができます。\n",
    "(絞り込み基準の指定)\n",
    "　f:スレッドの最初の書き込みがあった日時(標準)\n",
    "　l:スレッドの最後の書き込みがあった日時\n",
    "　m:ファイルの最終更新日時\n",
    "　c:ファイルの作成日時\n",
    "例)\n",
    "/ts=20060101-20070731,f\n",
    "　2006年1月1日から2007年7月31日までに最初の書き込みがあったｽﾚｯﾄﾞのみを変換する\n",
    "/ts=-Y2001,l\n",
    "　2001年までに最後の書き込みがあったスレッドのみを変換する\n",
    "/ts=h1730-,m\n",
    "　ファイルの最終更新時刻が17時30分以降のものを変換する\n",
    "/ts=h235930-000030\n",
    "　23時59分30秒から0時30秒に最初の書き込みがあったスレッドのみを変換する\n",
    "　(範囲指定の日時はまたいでも可。26時などの表記も認識します)\n",
    "/ts=M01D01,c\n",
    "　ファイルの作成日時が1月1日のものを変換する(\"M0101\"でも可)\n",
};

constexpr const char* kPageU[] = {
    "/u オプションの詳細\n",
    "受け側に同名のファイルがあった場合に、送り側と受け側のファイルを比較して\n",
    "条件に合ったファイルのみを上書きします。受け側のファイルに関しては、可能で\n",
    "あればhtmlに変換する前の情報を取得して参考にします。\n\n",
    "(書式)　/u=[time|fsize|none]\n",
    "/u のみ   :タイムスタンプを比較して、送り側が古い場合は上書きしない(標準)\n",
    "/u=\"time\" :タイムスタンプを比較して、送り側が古い場合は上書きしない\n",
    "/u=\"fsize\":ファイルサイズを比較して、送り側が小さい場合は上書きしない\n",
    "/u=\"none\" :無条件で上書きしない\n\n",
    "2回目以降の差分変換において、上書き可否のチェックを正しく行うには変換先\n",
    "フォルダのルートにindex.tmpが存在するか、htmlファイルにインデックス再構築\n",
    "用のタグが埋め込まれている必要があります。タイムスタンプで比較を行う場合は\n",
    "/ctオプションを利用する方法もあります。\n",
};
// clang-format on

struct Page {
  HelpPage id;
  std::span<const char* const> lines;
};

constexpr Page kPages[] = {
    {HelpPage::a, kPageA},   {HelpPage::ck, kPageCk}, {HelpPage::f, kPageF},
    {HelpPage::i, kPageI},   {HelpPage::l, kPageL},   {HelpPage::m, kPageM},
    {HelpPage::mv, kPageMv}, {HelpPage::o, kPageO},   {HelpPage::q, kPageQ},
    {HelpPage::s, kPageS},   {HelpPage::t, kPageT},   {HelpPage::ts, kPageTs},
    {HelpPage::u, kPageU},
};

// printf into a buffer of `room` bytes, cut as the buffer cuts.
std::string format_into(size_t room, const std::string& format, const char* a, const char* b = "",
                        const char* c = "") {
  std::string buf(room, '\0');
  int n = std::snprintf(buf.data(), room, format.c_str(), a, b, c);
  if (n < 0) return std::string();
  buf.resize(static_cast<size_t>(n) < room ? static_cast<size_t>(n) : room - 1);
  return buf;
}

std::string option_line(std::string_view name) {
  for (const OptionLine& line : kOptionLines) {
    if (name != line.name) continue;
    size_t room = name == "/u" ? kOptionRoomU : kOptionRoom;
    return format_into(room, sjis_from_utf8(line.text), kProg);
  }
  return std::string();
}

// A usage page is put together from its head (version line, what the tool does, usage
// line), the option lines and a line end, and printed at once.
void print_usage_page(Run& run, const char* head, std::span<const char* const> options,
                      bool short_page) {
  std::string version = format_into(kOptionRoom, kVersionLine, kProg, run.str.version);
  std::string what = sjis_from_utf8(kWhatItDoes);
  std::string usage = format_into(kOptionRoom * 2, sjis_from_utf8(kUsageLine), kProg);
  std::string page = format_into(kOptionRoom * 8, sjis_from_utf8(head), version.c_str(),
                                 what.c_str(), usage.c_str());
  for (const char* name : options) page += option_line(name);
  page += '\n';
  if (short_page) page += format_into(kOptionRoom * 2, sjis_from_utf8(kShortTail), kProg);
  con_print(run, "%s", page.c_str());
}

}  // namespace

void print_short_page(Run& run) {
  print_usage_page(run, kShortHead, kShortOptions, true);
}

void print_long_page(Run& run) {
  print_usage_page(run, kLongHead, kLongOptions, false);
}

void print_version_line(Run& run) {
  con_print(run, kVersionLine, kProg, run.str.version);
}

void print_help_page(Run& run, HelpPage id) {
  for (const Page& page : kPages) {
    if (page.id != id) continue;
    for (const char* line : page.lines) con_print(run, sjis_from_utf8(line).c_str(), kProg);
    return;
  }
}

}  // namespace tz
