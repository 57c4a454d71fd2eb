// WFTagFactory: runs the tag classes over a page and joins what they say.
//
// Holds one shared instance per tag class. One recursive lock is held while a tag class works, so tag
// work is serialised in the whole process; it is released on every way out.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"
#include "sifterra/text/WFTagFlyweight.h"

namespace sifterra {

class WF_API WFTagFactory {
 public:
  WFTagFactory();
  ~WFTagFactory();
  WFTagFactory(const WFTagFactory&) = delete;
  WFTagFactory& operator=(const WFTagFactory&) = delete;

  // The factory of the process, made on first use and never destroyed.
  [[nodiscard]] static WFTagFactory& defaultFactory();

  // The tags text of a page, possibly empty, never null: the tag of WFUSC2257Tag, then a line feed and
  // the tag of WFSlangTag.
  [[nodiscard]] static platform::String tagsForWebpage(const WFWebPageDecorator& webpage);

  // What the class says of the page between "[ " and " ]"; null when it says nothing.
  [[nodiscard]] platform::String tagWithClass(const WFTagClass& tagClass, const WFWebPageDecorator& webpage);

 private:
  std::recursive_mutex _lock;
  std::map<std::string, std::unique_ptr<WFTagFlyweight>, std::less<>> _sharedTags;  // by class name
};

}  // namespace sifterra
