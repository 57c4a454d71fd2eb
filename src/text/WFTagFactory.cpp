// WFTagFactory: one lock, one instance per tag class.
#include "sifterra/text/WFTagFactory.h"

#include <utility>

#include "sifterra/text/WFSlangTag.h"
#include "sifterra/text/WFUSC2257Tag.h"

namespace sifterra {

using platform::String;

WFTagFactory::WFTagFactory() = default;
WFTagFactory::~WFTagFactory() = default;

WFTagFactory& WFTagFactory::defaultFactory() {
  static WFTagFactory& factory = *new WFTagFactory();  // threads may still judge while the process exits
  return factory;
}

String WFTagFactory::tagsForWebpage(const WFWebPageDecorator& webpage) {
  WFTagFactory& factory = defaultFactory();
  std::u16string tags(factory.tagWithClass(WFUSC2257Tag::kClass, webpage).view());
  // Kept: the line feed comes with the second tag, whether there was a first one or not.
  if (const String slang = factory.tagWithClass(WFSlangTag::kClass, webpage)) {
    tags.append(u"\n").append(slang.view());
  }
  return String(std::move(tags));
}

String WFTagFactory::tagWithClass(const WFTagClass& tagClass, const WFWebPageDecorator& webpage) {
  const std::lock_guard held(_lock);
  auto shared = _sharedTags.find(std::string_view(tagClass.name));
  if (shared == _sharedTags.end()) shared = _sharedTags.emplace(tagClass.name, tagClass.make()).first;
  const String tag = shared->second->tagWithWebpage(webpage);
  if (!tag) return nullptr;
  return String(u"[ " + std::u16string(tag.view()) + u" ]");
}

}  // namespace sifterra
