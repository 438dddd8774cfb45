#ifndef SUPPORT_FIELD_TEXT_H
#define SUPPORT_FIELD_TEXT_H

#include <cstddef>
#include <cstring>
#include <string_view>

namespace kiv::support {

// The text of a character array, whether or not it ends.
template <size_t Size>
std::string_view field_text(const char (&field)[Size])
{
    return {field, strnlen(field, Size)};
}

} // namespace kiv::support

#endif
