// WFWebPageToTrainingText: signature words and the training layout.
#include "sifterra/text/WFWebPageToTrainingText.h"

#include <array>

#include "platform/CHandles.h"

namespace {

// Constant-initialised, so that it is there whenever other initialisers run.
constinit const WFString category1{std::u16string_view(u"ooooooooooooCategory1oooooooooooo")};

}  // namespace

constinit WFStringRef WFWebPageToTrainingText_Category1 = &category1;

namespace sifterra {

using platform::String;

String WFWebPageToTrainingText::documentSignature() {
  return String(u"ooooooooooooWFWebPageToTrainingTextoooooooooooo");
}

String WFWebPageToTrainingText::signatureForCategory(std::int64_t category) {
  switch (category) {
    case 1:
      return platform::stringFromHandle(WFWebPageToTrainingText_Category1);
    case 2:
      return String(u"ooooooooooooCategory2oooooooooooo");
    case 3:
      return String(u"ooooooooooooCategory3oooooooooooo");
    case 4:
      return String(u"ooooooooooooCategory4oooooooooooo");
    case 5:
      return String(u"ooooooooooooCategory5oooooooooooo");
    case 6:
      return String(u"ooooooooooooCategory6oooooooooooo");
    case 7:
      return String(u"ooooooooooooCategory7oooooooooooo");
    case 8:
      return String(u"ooooooooooooCategory8oooooooooooo");
    case 9:
      return String(u"ooooooooooooCategory9oooooooooooo");
    default:
      return nullptr;
  }
}

std::u16string WFWebPageToTrainingText::rawPlainText() const {
  static constexpr std::u16string_view kTitle = u"=========";
  static constexpr std::array<Section, 7> kSections = {{
      {"pageTitle", kTitle, 15},
      {"tags", kTitle, 5},
      {"metaTagDescription", kTitle, 10},
      {"metaTagKeywords", kTitle, 10},
      {"imageAltsText", kTitle, 1},
      {"linkTitlesText", kTitle, 1},
      {"pageContent", kTitle, 1},
  }};
  std::u16string heading(documentSignature().view());
  heading.append(u"\n").append(_categorySignature.view()).append(u"\n\n");
  return layOut(heading, kSections);
}

}  // namespace sifterra
