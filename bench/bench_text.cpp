// Text scanning over 64 MiB of mostly-ASCII UTF-16 text: line walks, character-set and substring
// searches, a token walk and the tag finder, each beside the std::u16string_view search that does
// the same job and memchr over the same bytes for a byte that never occurs (the practical limit of
// a forward scan). Every benchmark reports bytes per second of text covered.
//
// The searched-for characters and patterns occur only at the very end of the text, or nowhere, so
// every search covers all of it.
#include <benchmark/benchmark.h>
#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "qnutil/text.h"

using qn::AsU;

namespace {

constexpr size_t kTextBytes = size_t{64} << 20;
// Units before the terminator; the terminator makes the text exactly 64 MiB.
constexpr size_t kUnits = kTextBytes / 2 - 1;

// What the searches look for: in the tail of the text and nowhere else.
constexpr char16_t kTail[] = u" Quixotic zephyr@";
constexpr char16_t kPattern[] = u"Quixotic zephyr";
constexpr char16_t kPatternOtherCase[] = u"QUIXOTIC ZEPHYR";
// Nowhere in the text, and its first letter is one of the commonest.
constexpr char16_t kAbsentCommonStart[] = u"thermodynamics";
constexpr char16_t kOneChar[] = u"@";
constexpr char16_t kFourChars[] = u"#$~@";
// A byte that no unit of the text holds: memchr over the text never stops early.
constexpr int kAbsentByte = 0xFE;

// A deterministic generator (xorshift64*), so that every run measures the same text.
class Random {
 public:
  uint32_t Below(uint32_t n) { return static_cast<uint32_t>(Next() % n); }

 private:
  uint64_t Next() {
    state_ ^= state_ >> 12;
    state_ ^= state_ << 25;
    state_ ^= state_ >> 27;
    return state_ * 0x2545F4914F6CDD1DULL;
  }
  uint64_t state_ = 0x9E3779B97F4A7C15ULL;
};

const char *const kWords[] = {
    "the",   "of",    "and",    "to",     "in",     "is",    "that",  "it",    "was",   "for",
    "on",    "are",   "with",   "as",     "his",    "they",  "be",    "at",    "one",   "have",
    "this",  "from",  "or",     "had",    "by",     "word",  "but",   "what",  "some",  "we",
    "can",   "out",   "other",  "were",   "all",    "there", "when",  "up",    "use",   "your",
    "how",   "said",  "an",     "each",   "she",    "which", "do",    "their", "time",  "if",
    "will",  "way",   "about",  "many",   "then",   "them",  "write", "would", "like",  "so",
    "these", "her",   "long",   "make",   "thing",  "see",   "him",   "two",   "has",   "look",
    "more",  "day",   "could",  "go",     "come",   "did",   "number", "sound", "no",   "most",
    "people", "my",   "over",   "know",   "water",  "than",  "call",  "first", "who",   "may",
    "down",  "side",  "been",   "now",    "find",   "size",  "zone",  "quite", "question", "quick",
    "equal", "lazy",  "jump",   "table",  "tables", "border", "bold", "html",  "value", "name",
};
const char16_t *const kForeignWords[] = {u"caf\u00E9", u"na\u00EFve", u"Stra\u00DFe", u"\u00FCber",
                                         u"d\u00E9j\u00E0", u"\u03A9\u03BC\u03AD\u03B3\u03B1",
                                         u"\u041C\u043E\u0441\u043A\u0432\u0430"};
const char kPunctuation[] = ",.;:!?";

struct Corpus {
  std::u16string text;
  std::vector<size_t> carriageReturns;
  bool absentByteIsAbsent = false;

  Corpus() {
    Random random;
    text.reserve(kUnits + 1);
    const size_t body = kUnits - (sizeof kTail / sizeof kTail[0] - 1);
    size_t lineStart = 0;
    size_t lineLength = 60 + random.Below(41);
    while (text.size() < body) {
      if (text.size() - lineStart >= lineLength) {
        text += u"\r\n";
        lineStart = text.size();
        lineLength = 60 + random.Below(41);
      } else if (text.size() != lineStart) {
        text += u' ';
      }
      if (random.Below(300) == 0) {
        text += kForeignWords[random.Below(sizeof kForeignWords / sizeof kForeignWords[0])];
      } else {
        const char *word = kWords[random.Below(sizeof kWords / sizeof kWords[0])];
        const size_t at = text.size();
        for (const char *c = word; *c != 0; ++c) text += static_cast<char16_t>(*c);
        if (random.Below(10) == 0) text[at] = static_cast<char16_t>(text[at] - 'a' + 'A');
      }
      if (random.Below(12) == 0) text += static_cast<char16_t>(kPunctuation[random.Below(6)]);
    }
    text.resize(body);
    text += kTail;
    for (size_t i = 0; i < text.size(); ++i) {
      if (text[i] == u'\r') carriageReturns.push_back(i);
    }
    absentByteIsAbsent = memchr(text.data(), kAbsentByte, Bytes()) == nullptr;
  }

  static size_t Bytes() { return kUnits * sizeof(char16_t); }
  unsigned short *Units() { return AsU(&text[0]); }
  std::u16string_view View() const { return text; }
  void RestoreCarriageReturns() {
    for (size_t i : carriageReturns) text[i] = u'\r';
  }
};

Corpus &TheCorpus() {
  static Corpus corpus;
  return corpus;
}

// Checks that the text is the one the benchmark is about; false (and the benchmark skipped) if not.
bool Ready(benchmark::State &state) {
  const Corpus &corpus = TheCorpus();
  if (corpus.text.size() != kUnits || !corpus.absentByteIsAbsent) {
    state.SkipWithError("the generated text is not what the benchmarks assume");
    return false;
  }
  return true;
}

void Report(benchmark::State &state) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(Corpus::Bytes()));
}

// The practical limit: memchr for a byte that does not occur.
void BM_Memchr(benchmark::State &state) {
  if (!Ready(state)) return;
  const Corpus &corpus = TheCorpus();
  for (auto _ : state) benchmark::DoNotOptimize(memchr(corpus.text.data(), kAbsentByte, Corpus::Bytes()));
  Report(state);
}

// Lines: PchNextLine ends each line in place; the carriage returns come back outside the timing.
void BM_PchNextLine_Walk(benchmark::State &state) {
  if (!Ready(state)) return;
  Corpus &corpus = TheCorpus();
  size_t lines = 0;
  for (auto _ : state) {
    lines = 0;
    for (unsigned short *line = corpus.Units(); line != nullptr; line = PchNextLine(line)) ++lines;
    benchmark::DoNotOptimize(lines);
    state.PauseTiming();
    corpus.RestoreCarriageReturns();
    state.ResumeTiming();
  }
  if (lines != corpus.carriageReturns.size() + 1) state.SkipWithError("wrong number of lines");
  Report(state);
}

// The same walk with the line ends known in advance: per line, a call that cannot be inlined and
// the writes that PchNextLine makes, and no scanning. No PchNextLine walk can be faster than this.
unsigned short *EndLineAt(unsigned short *carriageReturn) {
  unsigned short *p = carriageReturn;
  *p++ = 0;
  if (*p == 0x0A) ++p;
  return *p != 0 ? p : nullptr;
}
unsigned short *(*volatile endLineAt)(unsigned short *) = EndLineAt;

void BM_KnownEnds_LineWalk(benchmark::State &state) {
  if (!Ready(state)) return;
  Corpus &corpus = TheCorpus();
  size_t lines = 0;
  for (auto _ : state) {
    lines = 1;
    unsigned short *const units = corpus.Units();
    unsigned short *(*const step)(unsigned short *) = endLineAt;
    for (size_t at : corpus.carriageReturns) {
      if (step(units + at) == nullptr) break;
      ++lines;
    }
    benchmark::DoNotOptimize(lines);
    state.PauseTiming();
    corpus.RestoreCarriageReturns();
    state.ResumeTiming();
  }
  if (lines != corpus.carriageReturns.size() + 1) state.SkipWithError("wrong number of lines");
  Report(state);
}

void BM_View_LineWalk(benchmark::State &state) {
  if (!Ready(state)) return;
  const std::u16string_view view = TheCorpus().View();
  for (auto _ : state) {
    size_t lines = 1;
    for (size_t at = view.find(u'\r'); at != view.npos; at = view.find(u'\r', at + 1)) ++lines;
    benchmark::DoNotOptimize(lines);
  }
  Report(state);
}

// Character sets.
void BM_StrMultiChr(benchmark::State &state, const char16_t *set) {
  if (!Ready(state)) return;
  Corpus &corpus = TheCorpus();
  const unsigned short *found = nullptr;
  for (auto _ : state) {
    found = StrMultiChr(corpus.Units(), AsU(set));
    benchmark::DoNotOptimize(found);
  }
  if (found != corpus.Units() + kUnits - 1) state.SkipWithError("not found at the end");
  Report(state);
}

void BM_View_FindOne(benchmark::State &state) {
  if (!Ready(state)) return;
  const std::u16string_view view = TheCorpus().View();
  for (auto _ : state) benchmark::DoNotOptimize(view.find(kOneChar[0]));
  Report(state);
}

void BM_View_FindFirstOfFour(benchmark::State &state) {
  if (!Ready(state)) return;
  const std::u16string_view view = TheCorpus().View();
  for (auto _ : state) benchmark::DoNotOptimize(view.find_first_of(kFourChars));
  Report(state);
}

// Substrings.
void BM_Search(benchmark::State &state, unsigned short *(*search)(const unsigned short *, const unsigned short *),
               const char16_t *pattern, bool present) {
  if (!Ready(state)) return;
  Corpus &corpus = TheCorpus();
  const unsigned short *found = nullptr;
  for (auto _ : state) {
    found = search(corpus.Units(), AsU(pattern));
    benchmark::DoNotOptimize(found);
  }
  const unsigned short *expected = present ? corpus.Units() + kUnits - std::char_traits<char16_t>::length(kTail) + 1 : nullptr;
  if (found != expected) state.SkipWithError("unexpected answer");
  Report(state);
}

void BM_View_Find(benchmark::State &state, const char16_t *pattern) {
  if (!Ready(state)) return;
  const std::u16string_view view = TheCorpus().View();
  for (auto _ : state) benchmark::DoNotOptimize(view.find(pattern));
  Report(state);
}

// Tokens: blanks separate them, and a few punctuation marks end them.
constexpr char16_t kDelimiters[] = u",.;:";

void BM_GetToken_Walk(benchmark::State &state) {
  if (!Ready(state)) return;
  const unsigned short *text = TheCorpus().Units();
  size_t tokens = 0;
  for (auto _ : state) {
    tokens = 0;
    unsigned short token[64];
    for (const unsigned short *p = GetToken(text, token, 64, AsU(kDelimiters)); token[0] != 0;
         p = GetToken(p, token, 64, AsU(kDelimiters))) {
      ++tokens;
    }
    benchmark::DoNotOptimize(tokens);
  }
  state.counters["tokens"] = static_cast<double>(tokens);
  Report(state);
}

void BM_View_TokenWalk(benchmark::State &state) {
  if (!Ready(state)) return;
  const std::u16string_view view = TheCorpus().View();
  const std::u16string_view blanks = u"\t\n\v\f\r ";
  const std::u16string_view ends = u"\t\n\v\f\r ,.;:";
  size_t tokens = 0;
  for (auto _ : state) {
    tokens = 0;
    for (size_t at = view.find_first_not_of(blanks); at != view.npos; at = view.find_first_not_of(blanks, at)) {
      ++tokens;
      const size_t end = view.find_first_of(ends, at);
      if (end == view.npos) break;
      // A delimiter ends its token and belongs to it; a blank is left for the next search.
      at = blanks.find(view[end]) == view.npos ? end + 1 : end;
    }
    benchmark::DoNotOptimize(tokens);
  }
  state.counters["tokens"] = static_cast<double>(tokens);
  Report(state);
}

// Tags: two that never occur, so every word start and punctuation mark is tried.
const char16_t *const kTags[] = {u"<table", u"//"};

void BM_FindTag(benchmark::State &state) {
  if (!Ready(state)) return;
  const unsigned short *text = TheCorpus().Units();
  const unsigned short *const tags[] = {AsU(kTags[0]), AsU(kTags[1])};
  int index = 0;
  for (auto _ : state) {
    const unsigned short *found = nullptr;
    index = FindTag(text, tags, 2, found);
    benchmark::DoNotOptimize(found);
  }
  if (index != -1) state.SkipWithError("a tag was found");
  Report(state);
}

// The nearest standard search: each tag found exactly, anywhere, and the earlier place kept.
void BM_View_FindTags(benchmark::State &state) {
  if (!Ready(state)) return;
  const std::u16string_view view = TheCorpus().View();
  for (auto _ : state) benchmark::DoNotOptimize(std::min(view.find(kTags[0]), view.find(kTags[1])));
  Report(state);
}

// Benchmarks that cover the text many milliseconds at a time: a few iterations suffice.
void Configure(benchmark::internal::Benchmark *b) { b->Unit(benchmark::kMillisecond)->MinTime(0.3); }

}  // namespace

BENCHMARK(BM_Memchr)->Apply(Configure);
BENCHMARK(BM_PchNextLine_Walk)->Apply(Configure);
BENCHMARK(BM_View_LineWalk)->Apply(Configure);
BENCHMARK(BM_KnownEnds_LineWalk)->Apply(Configure);
BENCHMARK_CAPTURE(BM_StrMultiChr, one, kOneChar)->Apply(Configure);
BENCHMARK(BM_View_FindOne)->Apply(Configure);
BENCHMARK_CAPTURE(BM_StrMultiChr, four, kFourChars)->Apply(Configure);
BENCHMARK(BM_View_FindFirstOfFour)->Apply(Configure);
BENCHMARK_CAPTURE(BM_Search, StrStr, StrStr, kPattern, true)->Apply(Configure);
BENCHMARK_CAPTURE(BM_Search, StrStrI, StrStrI, kPatternOtherCase, true)->Apply(Configure);
BENCHMARK_CAPTURE(BM_View_Find, pattern, kPattern)->Apply(Configure);
BENCHMARK_CAPTURE(BM_Search, StrStr_absent_common_start, StrStr, kAbsentCommonStart, false)->Apply(Configure);
BENCHMARK_CAPTURE(BM_Search, StrStrI_absent_common_start, StrStrI, kAbsentCommonStart, false)->Apply(Configure);
BENCHMARK_CAPTURE(BM_View_Find, absent_common_start, kAbsentCommonStart)->Apply(Configure);
BENCHMARK(BM_GetToken_Walk)->Apply(Configure);
BENCHMARK(BM_View_TokenWalk)->Apply(Configure);
BENCHMARK(BM_FindTag)->Apply(Configure);
BENCHMARK(BM_View_FindTags)->Apply(Configure);

BENCHMARK_MAIN();
