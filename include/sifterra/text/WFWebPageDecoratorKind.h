// WFWebPageDecoratorKind: gives a kind of decorator the decorator's constructors and class operations.
//
//   class WFWebPageToFilterText : public WFWebPageDecoratorKind<WFWebPageToFilterText> { ... };
//
// webPageWithString and its relatives then make a WFWebPageToFilterText.
#pragma once

#include <memory>

#include "sifterra/text/WFWebPageDecorator.h"

namespace sifterra {

template <class Kind>
class WFWebPageDecoratorKind : public WFWebPageDecorator {
 public:
  using WFWebPageDecorator::WFWebPageDecorator;

  [[nodiscard]] static std::shared_ptr<Kind> webPageWithData(const platform::Data& data) {
    return std::make_shared<Kind>(data);
  }
  [[nodiscard]] static std::shared_ptr<Kind> webPageWithString(const platform::String& string) {
    return std::make_shared<Kind>(string);
  }
  [[nodiscard]] static std::shared_ptr<Kind> webPageWithData(const platform::Data& data,
                                                             const platform::String& URLString) {
    return withURLString(webPageWithData(data), URLString);
  }
  [[nodiscard]] static std::shared_ptr<Kind> webPageWithString(const platform::String& string,
                                                               const platform::String& URLString) {
    return withURLString(webPageWithString(string), URLString);
  }
  [[nodiscard]] static platform::String plainTextWithWebPageData(const platform::Data& data) {
    return _plainTextWithSelector("initWithWebPageData:", data);
  }
  [[nodiscard]] static platform::String plainTextWithWebPageString(const platform::String& string) {
    return _plainTextWithSelector("initWithWebPageString:", string);
  }

 protected:
  using Argument = WFWebPageDecorator::Argument;
  [[nodiscard]] static platform::String _plainTextWithSelector(std::string_view selector,
                                                               const Argument& object) {
    return WFWebPageDecorator::_plainTextWithSelector<Kind>(selector, object);
  }

 private:
  static std::shared_ptr<Kind> withURLString(std::shared_ptr<Kind> page, const platform::String& URLString) {
    page->setURLString(URLString);
    return page;
  }
};

}  // namespace sifterra
