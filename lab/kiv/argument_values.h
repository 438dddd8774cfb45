// Arguments of a line as the values that a command's handler gets.
#ifndef LAB_KIV_ARGUMENT_VALUES_H
#define LAB_KIV_ARGUMENT_VALUES_H

#include <vector>

#include "lab/module/request.h"
#include "parser.h"
#include "tree.h"

namespace kiv_shell {

// The arguments of a command that has been parsed against this tree, in their order.
std::vector<kiv::module::argument> arguments_of(const tree_view &tree, const command &parsed);

} // namespace kiv_shell

#endif
