// Runs the cases of tests/cases against the real program: one test to a case, named by file and title.
//
//   cases_test [file or folder]...     default: the project's own cases; CPP_PROGRAM names another program
//
// A case file:
//
//   == title: what would break         contents of in.c follow
//   -- file sub/x.h                    contents of another file
//   -- args -DX=1 'two words' in.c     default: in.c
//   -- stdin                           bytes fed to standard input; default: none
//   -- env NAME=value                  may be repeated
//   -- out                             the expected standard output, exactly; default: none
//   -- err                             the expected standard error, exactly; default: none
//   -- wrote path                      expected contents of a file that the run wrote
//   -- status 1                        expected exit status; default: 0
//
// A header that ends in ` %` turns on the escapes \n \t \r \0 \\ \xHH in its section (or in its words), where a `\` at
// the end of a line also removes the newline behind it. {{dir}} stands for the absolute path of the scratch folder,
// {{program}} for that of the program. Blank lines count; lines that start with `## ` ahead of a title are comments.
//
// A file *.rows holds short cases: a title and one row of fields, which may go on in lines indented by two blanks:
//
//   arguments :: in.c :: standard output :: standard error :: file path=text :: stdin=text :: wrote path=text :: env
//   X=y
//
// In place of the output, `call => text ;; call => text ...` adds each call as a line of its own to in.c and expects
// that text for it; markers and empty lines then don't count.
//
// Escapes are always on. The output begins with the first marker of in.c, which is left out, unless it is written as
// `=text`. `!!` in place of a `::` stands for exit status 1.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using std::string;

namespace {

constexpr unsigned kSecondsPerRun = 20;
constexpr rlim_t kBytesPerFile = 512u << 20;  // a run that writes without end must not fill the disk
constexpr std::size_t kDiffLines = 30;
constexpr char kSanitizer[] = "ASAN_OPTIONS=detect_leaks=0:abort_on_error=1";

struct Case {
  string place;  // file:line of the title
  string error;  // what is wrong with the case itself
  std::map<string, string> files, wrote;
  std::vector<string> args, env;
  string input, out, err;
  int status = 0;
  bool pairs = false;  // `out` is without markers and empty lines
};

string gProgram;

string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void writeFile(const fs::path& path, const string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

std::vector<string> splitLines(const string& text) {
  std::vector<string> lines;
  for (std::size_t at = 0, end; at < text.size(); at = end) {
    end = std::min(text.find('\n', at), text.size() - 1) + 1;
    lines.push_back(text.substr(at, end - at));
  }
  return lines;
}

string unescape(const string& text, string& error) {
  static const std::map<char, char> kEscapes = {{'n', '\n'}, {'t', '\t'}, {'r', '\r'}, {'0', 0}, {'\\', '\\'}};
  string result;
  for (std::size_t i = 0; i < text.size(); i++) {
    char letter = text[i] == '\\' && i + 1 < text.size() ? text[++i] : 0;
    if (auto found = kEscapes.find(letter); found != kEscapes.end()) {
      result += found->second;
    } else if (letter == 'x' && i + 2 < text.size()) {
      result += static_cast<char>(std::strtol(text.substr(i + 1, 2).c_str(), nullptr, 16));
      i += 2;
    } else if (letter == 0) {
      result += text[i];
    } else if (letter != '\n') {
      error = string("unknown escape \\") + letter;
    }
  }
  return result;
}

// Words are separated by blanks; '...' keeps blanks and may be empty.
std::vector<string> splitWords(const string& text) {
  std::vector<string> words;
  bool quoted = false, open = false;
  for (char c : text) {
    bool blank = c == ' ' && !quoted;
    if (!blank && !open) words.emplace_back();
    open = !blank;
    if (c == '\'') quoted = !quoted;
    if (!blank && c != '\'') words.back() += c;
  }
  return words;
}

bool takeEscapeMark(string& header) {
  bool found = header.size() >= 2 && header.compare(header.size() - 2, 2, " %") == 0;
  if (found) header.resize(header.size() - 2);
  return found;
}

// Takes one finished section into the case: `header` is the line behind its `-- `, `text` what stood below it.
void addSection(Case& c, string header, string text) {
  const std::map<string, string*> kTexts = {{"stdin", &c.input}, {"out", &c.out}, {"err", &c.err}};
  bool escapes = takeEscapeMark(header);
  std::size_t blank = std::min(header.find(' '), header.size());
  string kind = header.substr(0, blank), rest = header.substr(std::min(blank + 1, header.size()));
  auto cooked = [&](const string& raw) { return escapes ? unescape(raw, c.error) : raw; };
  if (kind == "file" || kind == "wrote") return void((kind == "file" ? c.files : c.wrote)[rest] = cooked(text));
  if (auto found = kTexts.find(kind); found != kTexts.end()) return void(*found->second = cooked(text));
  if (text.find_first_not_of('\n') != string::npos) c.error = "text below -- " + kind;
  if (kind == "args") {
    c.args = splitWords(rest);
    for (string& word : c.args) word = cooked(word);
  } else if (kind == "env") {
    c.env.push_back(cooked(rest));
  } else if (kind == "status") {
    c.status = std::atoi(rest.c_str());
  } else {
    c.error = "unknown section -- " + header;
  }
}

// Cuts off a last block of comment lines and the blank lines among them.
string withoutComments(const std::vector<string>& lines) {
  std::size_t keep = lines.size();
  for (std::size_t i = lines.size(); i-- > 0 && (lines[i] == "\n" || lines[i].rfind("## ", 0) == 0);)
    if (lines[i] != "\n") keep = i;
  string text;
  for (std::size_t i = 0; i < keep; i++) text += lines[i];
  return text;
}

std::vector<std::pair<string, Case>> parseCases(const fs::path& path) {
  std::vector<std::pair<string, Case>> cases;
  std::vector<string> body;
  string header;
  int number = 0;
  auto finish = [&] {
    if (!cases.empty()) addSection(cases.back().second, header, withoutComments(body));
    body.clear();
  };
  for (const string& line : splitLines(readFile(path))) {
    number++;
    string mark = line.substr(0, 3), rest = line.substr(std::min<std::size_t>(3, line.size()));
    if (!rest.empty() && rest.back() == '\n') rest.pop_back();
    if (mark == "== ") {
      finish();
      header = string("file in.c") + (takeEscapeMark(rest) ? " %" : "");
      cases.emplace_back(rest, Case());
      cases.back().second.place = path.string() + ":" + std::to_string(number);
      cases.back().second.args = {"in.c"};
    } else if (mark == "-- ") {
      finish();
      header = rest;
    } else {
      body.push_back(line);
    }
  }
  finish();
  return cases;
}

// The fields of a row; `failed` tells whether a separator was `!!`. One blank belongs to each side of a separator.
std::vector<string> splitFields(const string& row, bool& failed) {
  std::vector<string> fields(1);
  for (std::size_t i = 0; i < row.size(); i++) {
    const string mark = row.substr(i, 3);
    const bool ends = i + 3 >= row.size() || row[i + 3] == ' ';
    if ((mark == " ::" || mark == " !!") && ends) {
      failed = failed || mark == " !!";
      fields.emplace_back();
      i += i + 3 < row.size() && row.compare(i + 3, 3, " ::") != 0 && row.compare(i + 3, 3, " !!") != 0 ? 3 : 2;
    } else {
      fields.back() += row[i];
    }
  }
  return fields;
}

void takeField(Case& c, const string& field) {
  const std::size_t equal = std::min(field.find('='), field.size()), blank = std::min(field.find(' '), equal);
  const string kind = field.substr(0, blank), text = unescape(field.substr(equal + 1), c.error);
  const string name = blank < equal ? unescape(field.substr(blank + 1, equal - blank - 1), c.error) : "";
  if (kind == "file")
    c.files[name] = text;
  else if (kind == "wrote")
    c.wrote[name] = text;
  else if (kind == "stdin")
    c.input = text;
  else if (kind == "env")
    c.env.push_back(name + "=" + text);
  else
    c.error = "unknown field " + field;
}

void takePairs(Case& c, const string& field) {
  c.pairs = true;
  for (std::size_t at = 0, end; at < field.size(); at = end + 4) {
    end = std::min(field.find(" ;; ", at), field.size());
    const string pair = field.substr(at, end - at);
    const std::size_t arrow = std::min(pair.find(" => "), pair.size());
    if (arrow == pair.size()) c.error = "no => in " + pair;
    c.files["in.c"] += unescape(pair.substr(0, arrow), c.error) + "\n";
    if (arrow + 4 < pair.size()) c.out += unescape(pair.substr(arrow + 4), c.error) + "\n";
  }
}

Case parseRow(const string& row) {
  Case c;
  bool failed = false;
  std::vector<string> fields = splitFields(row, failed);
  fields.resize(std::max<std::size_t>(fields.size(), 4));
  for (const string& word : splitWords(fields[0])) c.args.push_back(unescape(word, c.error));
  c.files["in.c"] = unescape(fields[1], c.error);
  const bool whole = fields[2].rfind('=', 0) == 0;
  if (fields[2].find(" => ") != string::npos) {
    takePairs(c, fields[2]);
  } else {
    c.out = whole ? unescape(fields[2].substr(1), c.error) : "\n# 1 \"in.c\"\n" + unescape(fields[2], c.error);
  }
  c.err = unescape(fields[3], c.error);
  for (std::size_t i = 4; i < fields.size(); i++) takeField(c, fields[i]);
  c.status = failed;
  return c;
}

std::vector<std::pair<string, Case>> parseRows(const fs::path& path) {
  std::vector<std::pair<string, Case>> cases;
  std::vector<string> lines = splitLines(readFile(path) + "== ");  // the last title ends the last row
  string title, row;
  for (std::size_t i = 0; i < lines.size(); i++) {
    const string line = lines[i].substr(0, lines[i].find('\n'));
    if (line.rfind("== ", 0) != 0) {
      row += line.rfind("  ", 0) == 0 ? line.substr(2) : line;
      continue;
    }
    if (!row.empty()) {
      cases.emplace_back(title, parseRow(row));
      cases.back().second.place = path.string() + ": the row ahead of line " + std::to_string(i + 1);
    }
    title = line.substr(3);
    row.clear();
  }
  return cases;
}

string textLines(const string& output) {
  string result;
  for (const string& line : splitLines(output))
    if (line != "\n" && line.rfind("# ", 0) != 0) result += line;
  return result;
}

string visible(const string& line) {
  string result;
  for (char c : line.substr(0, line.find('\n'))) {
    char hex[5];
    snprintf(hex, sizeof hex, "\\x%02x", static_cast<unsigned char>(c));
    result += c == '\\' ? "\\\\" : c == '\t' ? "\\t" : c >= ' ' && c <= '~' ? string(1, c) : hex;
  }
  return result + (line.empty() || line.back() != '\n' ? "\\" : "");
}

// The lines between the common head and the common tail of both texts, written as in a section with escapes.
string diff(const string& expected, const string& actual) {
  std::vector<string> want = splitLines(expected), have = splitLines(actual);
  std::size_t head = 0, tail = 0, shorter = std::min(want.size(), have.size());
  while (head < shorter && want[head] == have[head]) head++;
  while (tail < shorter - head && want[want.size() - 1 - tail] == have[have.size() - 1 - tail]) tail++;
  string result;
  auto list = [&](const char* sign, const std::vector<string>& lines, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; i++) {
      if (i - from == kDiffLines) return void(result += string(sign) + "...\n");
      result += sign + visible(lines[i]) + "\n";
    }
  };
  list("    ", want, head < 3 ? 0 : head - 3, head);
  list("  - ", want, head, want.size() - tail);
  list("  + ", have, head, have.size() - tail);
  list("    ", want, want.size() - tail, std::min(want.size() - tail + 2, want.size()));
  return "at line " + std::to_string(head + 1) + " (- expected, + actual):\n" + result;
}

void expectText(const char* what, const string& expected, const string& actual) {
  if (expected != actual) ADD_FAILURE() << what << " differs " << diff(expected, actual);
}

class CaseTest : public testing::Test {
 public:
  explicit CaseTest(const Case& c) : case_(c) {}

  void TestBody() override {
    SCOPED_TRACE(case_.place);
    ASSERT_EQ(case_.error, "");
    char name[] = "/tmp/cpp-cases-XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    root_ = name;
    dir_ = root_ / "run";
    for (const auto& [path, text] : case_.files) writeFile(dir_ / path, filled(text));
    writeFile(root_ / "in", filled(case_.input));
    int status = run();
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM)
      ADD_FAILURE() << "the run took more than " << kSecondsPerRun << " s";
    else if (WIFSIGNALED(status))
      ADD_FAILURE() << "the run was killed: " << strsignal(WTERMSIG(status));
    else
      EXPECT_EQ(WEXITSTATUS(status), case_.status) << "(exit status)";
    const string out = readFile(root_ / "out");
    expectText("standard output", filled(case_.out), case_.pairs ? textLines(out) : out);
    expectText("standard error", filled(case_.err), readFile(root_ / "err"));
    for (const auto& [path, text] : case_.wrote) {
      EXPECT_TRUE(fs::exists(dir_ / path)) << path << " was not written";
      expectText(path.c_str(), filled(text), readFile(dir_ / path));
    }
    fs::remove_all(root_);
  }

 private:
  string filled(string text) const {
    const std::pair<string, string> kMarks[] = {{"{{dir}}", dir_.string()}, {"{{program}}", gProgram}};
    for (const auto& [mark, value] : kMarks)
      for (std::size_t at = 0; (at = text.find(mark, at)) != string::npos; at += value.size())
        text.replace(at, mark.size(), value);
    return text;
  }

  int run() const {
    // The program gives memory back when it ends, so leaks are none of a sanitizer's business.
    std::vector<string> args = {gProgram}, env = {"TZ=UTC", "LC_ALL=C", "HOME=" + dir_.string(), kSanitizer};
    for (const string& arg : case_.args) args.push_back(filled(arg));
    if (const char* path = std::getenv("PATH")) env.push_back(string("PATH=") + path);
    for (const string& setting : case_.env) env.push_back(filled(setting));
    pid_t child = fork();
    if (child == 0) {
      const char* kStreams[] = {"in", "out", "err"};
      for (int fd = 0; fd < 3; fd++)
        dup2(open((root_ / kStreams[fd]).c_str(), O_CREAT | O_CLOEXEC | (fd ? O_WRONLY : O_RDONLY), 0644), fd);
      rlimit file_size = {kBytesPerFile, kBytesPerFile};
      setrlimit(RLIMIT_FSIZE, &file_size);
      alarm(kSecondsPerRun);
      if (chdir(dir_.c_str()) == 0) execve(gProgram.c_str(), pointers(args).data(), pointers(env).data());
      _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
  }

  static std::vector<char*> pointers(std::vector<string>& strings) {
    std::vector<char*> result;
    for (string& s : strings) result.push_back(s.data());
    result.push_back(nullptr);
    return result;
  }

  const Case& case_;
  fs::path root_, dir_;
};

bool registerFile(const fs::path& path) {
  auto* cases = new auto(path.extension() == ".rows" ? parseRows(path) : parseCases(path));  // the tests refer to it
  for (const auto& [title, c] : *cases) {
    auto make = [data = &c]() -> testing::Test* { return new CaseTest(*data); };
    testing::RegisterTest(path.stem().c_str(), title.c_str(), nullptr, nullptr, path.c_str(), 1, make);
  }
  if (cases->empty()) fprintf(stderr, "cases_test: no cases in %s\n", path.c_str());
  return !cases->empty();
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const char* program = std::getenv("CPP_PROGRAM");
  gProgram = fs::absolute(program ? program : DEFAULT_PROGRAM).lexically_normal();
  if (access(gProgram.c_str(), X_OK) != 0) return fprintf(stderr, "cases_test: can't run %s\n", gProgram.c_str()), 1;
  std::vector<fs::path> roots(argv + 1, argv + argc), files;
  if (roots.empty()) roots.push_back(DEFAULT_CASES);
  for (const fs::path& root : roots) {
    if (!fs::is_directory(root)) files.push_back(root);
    std::error_code no_folder;
    for (const auto& entry : fs::directory_iterator(root, no_folder))
      if (entry.path().extension() == ".txt" || entry.path().extension() == ".rows") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  bool usable = true;
  for (const fs::path& file : files) usable = registerFile(file) && usable;
  return RUN_ALL_TESTS() | !usable;
}
