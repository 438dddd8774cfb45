// The words that tell what came of a command.
#ifndef KIV_INTERACT_MARKERS_H
#define KIV_INTERACT_MARKERS_H

#include <array>
#include <string_view>

#include <kiv/kiv_interact_exec.h>

namespace kiv::interact {

inline constexpr std::string_view success_marker = KIV_INTERACT_SUCCESS_MARKER;
inline constexpr std::string_view error_marker = KIV_INTERACT_ERROR_MARKER;
inline constexpr std::string_view parse_marker = KIV_INTERACT_PARSE_MARKER;

inline constexpr std::array markers{success_marker, error_marker, parse_marker};
inline constexpr size_t longest_marker = success_marker.size();

inline constexpr std::string_view show_command = "show ";

} // namespace kiv::interact

#endif
