// Requests to a module: made by the shell, read by the module.
#ifndef LAB_MODULE_REQUEST_H
#define LAB_MODULE_REQUEST_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <kiv/kiv_lib.h>

#include "protocol.h"

namespace kiv::module {

constexpr auto most_arguments = static_cast<size_t>(KIV_PINFO_MAX_ARGS);

struct argument {
    int32_t token_id = 0;
    uint32_t type = 0;
    uint64_t mask = 0;
    uint32_t subtype = 0;
    std::string value; // the bytes of its layout; of a string with its NUL
};

// The payload of a request. Arguments beyond KIV_PINFO_MAX_ARGS, or a text or payload that is too
// long, make it empty: there is no such request.
std::string write_request(std::string_view function, const pinfo &info,
                          std::span<const argument> arguments);

// A request that has arrived. It is checked once, here; then its arguments are what their types
// say.
class request {
public:
    // Returns whether the payload is a request; what is not leaves this one unspecified.
    bool read(std::span<const std::byte> payload);

    std::string_view function() const { return function_; }

    // With the arguments in place. They point into this object.
    pinfo &info() { return info_; }

private:
    std::string_view function_;
    pinfo info_{};
    std::array<param_arg, most_arguments> arguments_{};
    std::vector<uint64_t> payload_; // aligned for every value
};

// Whether bytes are a value of the type: of its size, with its strings ended, and counts that are
// within it.
bool is_value(uint32_t type, std::span<const std::byte> bytes);

} // namespace kiv::module

#endif
