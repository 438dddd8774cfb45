// The types of arguments: which words fit.
#ifndef LAB_KIV_ARGUMENT_TYPES_H
#define LAB_KIV_ARGUMENT_TYPES_H

#include <string>
#include <string_view>

#include <kiv/common.h>

namespace kiv_shell {

enum class fit {
    fits,
    wrong_form,    // no word of the type
    out_of_bounds, // one of the type, but not within the parameter's bounds
};

// A TYPE_LINE fits every text that is not empty: the caller gives it the rest of the line. A type
// that is not in kiv/common.h fits no word.
fit check_argument(const kiv_parameter &parameter, std::string_view text);

// The one spelling of all the words that mean the same as this one, which fits: numbers without
// zeros in front, hexadecimal ones with "0x", addresses as inet_ntop (POSIX) gives them, small
// letters in bytes and identifiers. Other types have as many values as they have words.
std::string canonical_argument(const kiv_parameter &parameter, std::string_view text);

bool takes_rest_of_line(const kiv_parameter &parameter);

// How the parameter is shown where one is expected, such as "<vsan 1..4093>".
std::string describe_parameter(const kiv_parameter &parameter);

} // namespace kiv_shell

#endif
