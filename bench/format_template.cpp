// Filling a template with texts: one placeholder, ten, and 100 KB of text with a thousand.

#include <benchmark/benchmark.h>
#include <fmt/args.h>
#include <fmt/format.h>

#include <QString>
#include <string>
#include <string_view>
#include <vector>

#include "bench/side_by_side.h"
#include "nerio/support/templates.h"
#include "nerio/types/utf8.h"

namespace {

using nerio::Text;
using nerio::Variant;

// A template and its values in every contender's own kind of text, and the answer.
struct Work {
  Text text;
  std::string utf8;
  QString qt;
  nerio::ArgumentList arguments;
  std::vector<Text> values;
  std::vector<std::string> utf8Values;
  std::vector<QString> qtValues;
  Text filled;

  // `literals` pieces of text of `length` units each, a placeholder behind each of them; the indices go round.
  Work(std::size_t literals, std::size_t length, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      values.push_back(nerio::FromUtf8("valore " + std::to_string(i)));
      utf8Values.push_back(nerio::ToUtf8(values.back()));
      qtValues.push_back(QString::fromStdU16String(values.back()));
      arguments.values.emplace_back(values.back());
    }
    QString qtTemplate;
    const Text piece = nerio::FromUtf8("Il parametro di nome [esempio] ");
    for (std::size_t i = 0; i < literals; ++i) {
      Text literal;
      while (literal.size() < length) literal += piece;
      literal.resize(length);
      const std::string index = std::to_string(i % count);
      text += literal + nerio::FromUtf8("{" + index + "}");
      qt += QString::fromStdU16String(literal) + "%" + QString::fromStdString(std::to_string(i % count + 1));
      filled += literal + values[i % count];
    }
    utf8 = nerio::ToUtf8(text);
  }
};

void Nerio(benchmark::State& state, const Work& work) {
  for (auto _ : state) {
    const Text filled = nerio::FormatTemplate(work.text, work.arguments);
    benchmark::DoNotOptimize(filled.data());
    if (filled.size() != work.filled.size()) return state.SkipWithError("another length");
  }
  if (nerio::FormatTemplate(work.text, work.arguments) != work.filled) state.SkipWithError("another text");
}

// The list of arguments is made once, as it is for the others.
void Fmt(benchmark::State& state, const Work& work) {
  fmt::dynamic_format_arg_store<fmt::format_context> arguments;
  for (const std::string& value : work.utf8Values) arguments.push_back(std::string_view(value));
  for (auto _ : state) {
    const std::string filled = fmt::vformat(work.utf8, arguments);
    benchmark::DoNotOptimize(filled.data());
    if (filled.size() != work.filled.size()) return state.SkipWithError("another length");
  }
  if (nerio::FromUtf8(fmt::vformat(work.utf8, arguments)) != work.filled) state.SkipWithError("another text");
}

void QtArg(benchmark::State& state, const Work& work) {
  for (auto _ : state) {
    QString filled = work.qt;
    for (const QString& value : work.qtValues) filled = filled.arg(value);
    benchmark::DoNotOptimize(filled.constData());
    if (static_cast<std::size_t>(filled.size()) != work.filled.size()) return state.SkipWithError("another length");
  }
}

// What one writes without a library: replace all, for one value after the other.
void ReplaceLoop(benchmark::State& state, const Work& work) {
  for (auto _ : state) {
    Text filled = work.text;
    for (std::size_t i = 0; i < work.values.size(); ++i) {
      const std::string index = std::to_string(i);
      const Text placeholder = u'{' + Text(index.begin(), index.end()) + u'}';
      for (std::size_t at = 0; (at = filled.find(placeholder, at)) != Text::npos; at += work.values[i].size()) {
        filled.replace(at, placeholder.size(), work.values[i]);
      }
    }
    benchmark::DoNotOptimize(filled.data());
    if (filled.size() != work.filled.size()) return state.SkipWithError("another length");
  }
}

void Add(const std::string& item, const Work& work) {
  using nerio::bench::Contender;
  const auto add = [&](const char* contender, void (*run)(benchmark::State&, const Work&)) {
    Contender(item + "/" + contender, [run, &work](benchmark::State& state) { run(state, work); });
  };
  add("nerio", Nerio);
  add("fmt", Fmt);
  add("qt_arg", QtArg);
  add("replace_loop", ReplaceLoop);
}

}  // namespace

int main(int argc, char** argv) {
  const Work one(1, 24, 1);
  const Work ten(10, 12, 10);
  const Work thousand(1000, 95, 99);  // QString::arg knows 99 placeholders
  Add("format_template_1", one);
  Add("format_template_10", ten);
  Add("format_template_100k", thousand);
  return nerio::bench::RunSideBySide(argc, argv);
}
