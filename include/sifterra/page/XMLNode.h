// XMLNode: a thin wrapper around one element node of a parsed document, which owns the node.
//
// Valid only while the document is alive. Attributes are read on demand, from element nodes only.
#pragma once

#include <cstdint>

#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"
#include "sifterra/sifterra.h"

struct _xmlNode;

namespace sifterra {

class WF_API XMLNode {
 public:
  explicit XMLNode(_xmlNode* node) { setXmlNode(node); }  // initWithNode:
  virtual ~XMLNode() = default;

  void setXmlNode(_xmlNode* node) noexcept { _xmlNode_ = node; }
  [[nodiscard]] _xmlNode* xmlNode() const noexcept { return _xmlNode_; }

  // The text of the attribute's first text child; the last attribute of that exact name that has one
  // wins. Null when there is none.
  [[nodiscard]] static platform::String stringValueForAttribute(const platform::String& attribute,
                                                                const _xmlNode* inNode);
  [[nodiscard]] platform::String _stringValueFromAttribute(const platform::String& attribute) const;
  // atoi of the last text child of the last attribute of that name, kWFImgDimensionUnknown when none.
  [[nodiscard]] std::int64_t _intValueFromAttribute(const platform::String& attribute) const;
  // The content of the node's first child; null when there is none.
  [[nodiscard]] static platform::String getJavascriptFromNode(const _xmlNode* node);

 private:
  _xmlNode* _xmlNode_ = nullptr;
};

}  // namespace sifterra
