// open_elements: the stack, with a chain through the entries of each name and of each priority.
#include "page/open_elements.h"

#include <algorithm>
#include <utility>

#include "page/markup_tags.h"

namespace sifterra {

namespace {

struct KnownName {
  std::u16string_view text;
  OpenElements::Kind kind;
};

using Kind = OpenElements::Kind;

constexpr KnownName kKnown[] = {
    {u"area", Kind::Void},         {u"base", Kind::Void},        {u"basefont", Kind::Void},
    {u"br", Kind::Void},           {u"col", Kind::Void},         {u"frame", Kind::Void},
    {u"hr", Kind::Void},           {u"img", Kind::Void},         {u"input", Kind::Void},
    {u"isindex", Kind::Void},      {u"link", Kind::Void},        {u"meta", Kind::Void},
    {u"param", Kind::Void},        {u"html", Kind::Document},    {u"head", Kind::Document},
    {u"body", Kind::Document},     {u"p", Kind::NeverNests},     {u"li", Kind::NeverNests},
    {u"option", Kind::NeverNests}, {u"tr", Kind::NeverNests},    {u"td", Kind::NeverNests},
    {u"th", Kind::NeverNests},     {u"tbody", Kind::NeverNests}, {u"a", Kind::Link},
    {u"frameset", Kind::Frameset}, {u"title", Kind::Title},      {u"script", Kind::RawText},
    {u"style", Kind::RawText},
};

// An end tag does not reach past an open element of a higher priority, as in the parser.
struct NamedPriority {
  std::u16string_view text;
  std::uint8_t priority;
};
constexpr NamedPriority kPriorityOf[] = {
    {u"div", 1},   {u"td", 2},    {u"th", 2},    {u"tr", 3},
    {u"thead", 4}, {u"tbody", 4}, {u"tfoot", 4}, {u"table", 5},
};

Kind kindOf(std::u16string_view name) {
  const auto* known = std::ranges::find(kKnown, name, &KnownName::text);
  return known == std::end(kKnown) ? Kind::Ordinary : known->kind;
}

OpenElements::Reads readsOf(std::u16string_view name) {
  if (name == u"a" || name == u"img") return OpenElements::Reads::Some;
  return name == u"meta" || name.find(u':') != std::u16string_view::npos ? OpenElements::Reads::Unknown
                                                                         : OpenElements::Reads::None;
}

bool isTitle(std::u16string_view name) {
  const std::size_t colon = name.find(u':');
  return (colon == std::u16string_view::npos ? name : name.substr(colon + 1)) == u"title";
}

std::uint8_t priorityOf(std::u16string_view name) {
  const auto* known = std::ranges::find(kPriorityOf, name, &NamedPriority::text);
  return known == std::end(kPriorityOf) ? std::uint8_t{0} : known->priority;
}

}  // namespace

OpenElements::OpenElements() {
  lastOfPriority_.fill(kNone);
}

OpenElements::Name OpenElements::intern(std::u16string_view name) {
  char16_t buffer[kLongestParsedName];
  const std::size_t length = std::min(name.size(), kLongestParsedName);
  std::transform(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(length), buffer, asciiLower);
  const std::u16string_view lower(buffer, length);
  const std::size_t letters =
      length == 0 ? 0U : buffer[0] * 5U + buffer[length / 2] * 3U + buffer[length - 1];
  Name& recent = recent_[(letters + length) % kRecent];
  if (recent < names_.size() && names_[recent].text == lower) return recent;
  const auto known = numbers_.find(lower);
  if (known != numbers_.end()) return recent = known->second;
  const auto number = static_cast<Name>(names_.size());
  names_.push_back({std::u16string(lower), kindOf(lower), readsOf(lower), priorityOf(lower), isTitle(lower)});
  numbers_.emplace(lower, number);
  return recent = number;
}

void OpenElements::push(Name name, bool kept) {
  NameRecord& record = names_[name];
  const auto index = static_cast<std::uint32_t>(stack_.size());
  stack_.push_back({name, kept, record.lastOpen, lastOfPriority_[record.priority]});
  record.lastOpen = index;
  lastOfPriority_[record.priority] = index;
  if (kept) ++keptDepth_;
  if (record.isTitle) ++openTitles_;
}

OpenElements::Entry OpenElements::pop() {
  const Entry entry = stack_.back();
  stack_.pop_back();
  NameRecord& record = names_[entry.name];
  record.lastOpen = entry.sameNameBelow;
  lastOfPriority_[record.priority] = entry.samePriorityBelow;
  if (entry.kept) --keptDepth_;
  if (record.isTitle) --openTitles_;
  return entry;
}

std::size_t OpenElements::closedBy(Name name) const {
  const NameRecord& record = names_[name];
  if (record.lastOpen == kNone) return 0;
  for (std::size_t higher = record.priority + 1U; higher < kPriorities; ++higher) {
    const std::uint32_t blocker = lastOfPriority_[higher];
    if (blocker != kNone && blocker > record.lastOpen) return 0;
  }
  return stack_.size() - record.lastOpen;
}

}  // namespace sifterra
