// XMLNode: the reads of node_text.h for the wrapped node.
#include "sifterra/page/XMLNode.h"

#include <string>

#include "page/node_text.h"

const std::int64_t kWFImgDimensionUnknown = -1;

namespace sifterra {

using platform::String;

String XMLNode::stringValueForAttribute(const String& attribute, const _xmlNode* inNode) {
  return attributeText(inNode, attribute.toUTF8().c_str());
}

String XMLNode::_stringValueFromAttribute(const String& attribute) const {
  return stringValueForAttribute(attribute, _xmlNode_);
}

std::int64_t XMLNode::_intValueFromAttribute(const String& attribute) const {
  return attributeNumber(_xmlNode_, attribute.toUTF8().c_str());
}

String XMLNode::getJavascriptFromNode(const _xmlNode* node) {
  return firstChildText(node);
}

}  // namespace sifterra
