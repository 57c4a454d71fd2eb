// icu_data.h: keeps ICU to the data that is linked with it.
//
// ICU would look for converters and normalisation tables in the directory that the environment variable
// ICU_DATA names, before its own. A managed user sets the environment and could have a page read as another
// text. So file access is switched off for the whole process when the library is loaded. Every source that
// calls ICU includes this header, which makes sure that it happens before that source does anything.
#pragma once

namespace sifterra::platform {

struct LinkedUnicodeDataOnly {
  LinkedUnicodeDataOnly() noexcept;
};

inline const LinkedUnicodeDataOnly linkedUnicodeDataOnly;

}  // namespace sifterra::platform
