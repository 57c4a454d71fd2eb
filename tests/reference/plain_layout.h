// plain_layout.h: filter text put together line by line from what a decorator answers.
//
// What the library's layout in one buffer is compared with.
#pragma once

#include <string>

#include "sifterra/text/WFWebPageDecorator.h"

namespace sifterra::reference {

inline std::u16string section(const std::u16string& title, const platform::String& value, int weight) {
  std::u16string text = title + u"\n";
  for (int i = 0; i < weight; ++i) text += std::u16string(value.view()) + u"\n";
  return text;
}

inline std::u16string filterText(const WFWebPageDecorator& page) {
  std::u16string text = u"ooooooooooooWFWebPageToFilterTextoooooooooooo\n\n";
  text += u"oooAooLEGITTIMATEooWORDooFORooADVERTISINGoooo\nooooooooooooCategory1oooooooooooo\n";
  text += section(u"ooooooooooooooooooooTITLEoooooooooooooooooooo", page.pageTitle(), 15);
  text += section(u"oooooooooooooooooooooTAGSoooooooooooooooooooo", page.tags(), 5);
  text += section(u"oooooooooooooooooDESCRIPTIONooooooooooooooooo", page.metaTagDescription(), 10);
  text += section(u"oooooooooooooooooooKEYWORDSoooooooooooooooooo", page.metaTagKeywords(), 10);
  text += section(u"oooooooooooooooooooIMAGEALTSooooooooooooooooo", page.imageAltsText(), 1);
  text += section(u"oooooooooooooooooooLINKTITLESoooooooooooooooo", page.linkTitlesText(), 1);
  text += section(u"oooooooooooooooooooPAGECONTENTooooooooooooooo", page.pageContent(), 1);
  return text;
}

}  // namespace sifterra::reference
