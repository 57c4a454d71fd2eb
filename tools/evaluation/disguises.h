// disguises: an adult page's text as somebody writes it who wants it past a filter and still wants it read.
//
// Every disguise works on the page's HTML and is deterministic: chance is a hash of the page. Text that could
// not be read any more, or that nobody would write, is no measure of a filter; docs/evaluation.md tells for
// each what is disguised and why.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "evaluation/DisguiseTexts.h"

namespace sifterra::tools {

struct DisguisedPage {
  std::string_view html;  // UTF-8
  std::string language;   // "" when not known
  const DisguiseTexts& texts;
};

struct Disguise {
  const char* name;  // of --disguise
  const char* what;  // in some words, for the help and the reports
  bool needsOrdinaryText;
  std::string (*apply)(const DisguisedPage& page);
};

[[nodiscard]] std::span<const Disguise> allDisguises();

}  // namespace sifterra::tools
