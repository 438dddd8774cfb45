// Whatever comes as a request to a module: it is refused, or its arguments can be walked and
// printed as their types say, and written again are the same request.

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "lab/module/request.h"
#include "require.h"

namespace {

using fuzz::require;
using kiv::module::argument;
using kiv::module::argument_head;

// The value of the head that stands in front of it in the payload.
argument argument_of(const param_arg &entry)
{
    argument_head head{};
    argument made{entry.token_id, entry.type, entry.mask, entry.subtype, {}};
    if (entry.value == nullptr)
        return made;
    std::memcpy(&head, static_cast<const char *>(entry.value) - sizeof head, sizeof head);
    made.value.assign(static_cast<const char *>(entry.value), head.size);
    return made;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static kiv::module::request got;
    if (!got.read(std::as_bytes(std::span(data, size))))
        return 0;
    pinfo &info = got.info();
    require(info.parameter_count <= KIV_PINFO_MAX_ARGS);
    require(info.submode_context >= 0 && info.submode_context <= info.parameter_count);
    print_pinfo(&info);
    std::vector<argument> arguments;
    for (int i = 0; i < info.parameter_count; ++i)
        arguments.push_back(argument_of(*info.args[i]));
    const std::string written = write_request(got.function(), info, arguments);
    require(written.size() == size || written.empty());
    kiv::module::request again;
    require(written.empty() || again.read(std::as_bytes(std::span(written))));
    return 0;
}
