#include "classifier/explanation.h"

#include <cstddef>
#include <string_view>

#include "lsm/Explanation.h"

namespace sifterra {
namespace {

using platform::String;

String shown(std::string_view utf8) {
  return String::fromUTF8Lossy(utf8);
}

WFExplainedStretch stretchOf(const lsm::Stretch& stretch) {
  return {shown(lsm::stretchName(stretch.kind)), stretch.odds, stretch.penalty,
          static_cast<std::uint32_t>(stretch.windows)};
}

WFExplainedWord::Nature natureOf(lsm::WordNature nature) {
  switch (nature) {
    case lsm::WordNature::kUnknown:
      return WFExplainedWord::Nature::Unknown;
    case lsm::WordNature::kFixed:
      return WFExplainedWord::Nature::Fixed;
    default:
      return WFExplainedWord::Nature::Known;
  }
}

WFExplainedWord wordOf(const lsm::ExplainedWord& word) {
  WFExplainedWord explained;
  if (!word.meaning.empty()) explained.meaning = shown(word.meaning);
  explained.nature = natureOf(word.nature);
  if (word.nature != lsm::WordNature::kFixed) explained.word = shown(word.word);
  explained.points = word.share;
  explained.count = word.count;
  for (std::size_t section = 0; section < lsm::kTextSections; ++section) {
    const std::string_view name = lsm::sectionName(static_cast<lsm::TextSection>(section));
    if ((word.sections >> section & 1U) != 0 && !name.empty()) explained.places.push_back(shown(name));
  }
  for (const std::string& form : word.written) explained.written.push_back(shown(form));
  return explained;
}

}  // namespace

std::shared_ptr<const WFExplanation> explanationOf(const lsm::Explanation& explanation) {
  auto result = std::make_shared<WFExplanation>();
  result->decided = stretchOf(explanation.judgement.decided);
  for (const lsm::Stretch& stretch : explanation.judgement.others)
    result->others.push_back(stretchOf(stretch));
  result->start = explanation.start;
  result->total = explanation.odds;
  for (const lsm::ExplainedWord& word : explanation.words) result->words.push_back(wordOf(word));
  result->excerpt = shown(explanation.excerpt);
  return result;
}

}  // namespace sifterra
