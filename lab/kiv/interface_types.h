// The types of interfaces, whose names can be arguments: those that every switch has, and in their
// place and beside them those that are registered with the daemon.
#ifndef LAB_KIV_INTERFACE_TYPES_H
#define LAB_KIV_INTERFACE_TYPES_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include <kiv/kiv_process_api.h>

#include "argument_types.h"

namespace kiv_shell {

// From now on the registered types are these.
void take_interface_types(std::span<const kiv_interface_table_entry> registered);

// How the names of the type with this bit in masks look, such as "fc(1..9)/(1..32)", with the
// numbers that its module has told; or nothing.
std::string interface_type_form(size_t bit);

// Whether the word names an interface, or several whose last number is a range, of a type that the
// parameter allows. A name is its type and one or two numbers, with '/' between them.
fit check_interface(const kiv_parameter &parameter, std::string_view text);
fit check_interface_range(const kiv_parameter &parameter, std::string_view text);

// The index (kiv/module.h) that an interface's name stands for; of a range, the first and the last.
struct interface_indices {
    uint32_t first = 0;
    uint32_t last = 0;
};
interface_indices read_interface(std::string_view text);

// The bit of its type.
uint64_t interface_mask(std::string_view text);

} // namespace kiv_shell

#endif
