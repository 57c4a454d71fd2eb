// declared_entities.h: the words that a page hides in entities of its own.
//
// "<!DOCTYPE html [<!ENTITY x 'words'>]>" and then "&x;": XHTML and XML show the words, HTML shows "&x;".
// What kind of page it is only its headers tell, and its words are to be judged in any case. They are put in
// as plain text, without markup, so that for a browser that reads HTML nothing that it shows can vanish by
// it.
#pragma once

#include <cstddef>
#include <string>

namespace sifterra {

inline constexpr std::size_t kMostDeclaredEntities = 1024;
inline constexpr std::size_t kMostEntityDepth = 16;         // of entities in entities
inline constexpr std::size_t kMostEntityText = 256 * 1024;  // units that are put in, all in all

// Linear in the text and the bounds.
[[nodiscard]] std::u16string withDeclaredEntities(std::u16string text);

}  // namespace sifterra
