#include "request.h"

#include <algorithm>
#include <cstring>

namespace kiv::module {

namespace {

using bytes = std::span<const std::byte>;

bool ends(bytes text)
{
    return std::ranges::find(text, std::byte{0}) != text.end();
}

template <size_t Size>
bool ends(const char (&field)[Size])
{
    return ends(std::as_bytes(std::span(field)));
}

bool is_nothing(bytes value)
{
    return value.empty();
}

template <class Record>
bool is_record(bytes value)
{
    return value.size() == sizeof(Record);
}

template <size_t Size>
bool is_field(bytes value)
{
    return value.size() == Size;
}

// Its NUL is its last byte, and no other one.
bool is_text(bytes value)
{
    return !value.empty() && std::ranges::find(value, std::byte{0}) == value.end() - 1;
}

bool is_uri(bytes value)
{
    uri_info uri;
    if (value.size() != sizeof uri)
        return false;
    std::memcpy(&uri, value.data(), sizeof uri);
    return ends(uri.scheme) && ends(uri.user) && ends(uri.password) && ends(uri.server) &&
           ends(uri.server_prefix) && ends(uri.path);
}

// As many ranges as the value says, at least one.
bool is_multi_range(bytes value)
{
    int32_t count = 0;
    if (value.size() < sizeof(kiv_int_multi_range))
        return false;
    std::memcpy(&count, value.data(), sizeof count);
    const size_t ranges = value.size() - sizeof count;
    return count > 0 && ranges / sizeof(kiv_int_range) == static_cast<size_t>(count) &&
           ranges % sizeof(kiv_int_range) == 0;
}

bool is_interface_range(bytes value)
{
    uint32_t count = 0;
    if (value.size() != sizeof(kiv_interface_range))
        return false;
    std::memcpy(&count, value.data(), sizeof count);
    return count > 0 && count <= KIV_INTERFACE_RANGES;
}

// The kinds of values, by their names in KIV_PARAMETER_TYPE_TABLE.
constexpr auto none = is_nothing;
constexpr auto labelled_string = is_text;
constexpr auto dns_name = is_text;
constexpr auto user_at_host = is_text;
constexpr auto inet_name = is_text;
constexpr auto uri = is_uri;
constexpr auto ip = is_record<uint32_t>;
constexpr auto ipv4 = is_record<kiv_inet_addr>;
constexpr auto ipv6 = is_record<kiv_inet_addr>;
constexpr auto ipv4_or_v6 = is_record<kiv_inet_addr>;
constexpr auto integer = is_record<int32_t>;
constexpr auto intx = is_record<uint32_t>;
constexpr auto integer_range = is_record<kiv_int_range>;
constexpr auto hex_range = is_record<kiv_int_range>;
constexpr auto integer_multi_range = is_multi_range;
constexpr auto hex_multi_range = is_multi_range;
constexpr auto interface = is_record<kiv_interface>;
constexpr auto interface_range = is_interface_range;
constexpr auto hex_4 = is_field<4>;
constexpr auto hex_6 = is_field<6>;
constexpr auto hex_8 = is_field<8>;
constexpr auto guid = is_record<kiv_guid>;
constexpr auto community = is_record<kiv_community>;

struct type_row {
    uint32_t type;
    bool (*is_value)(bytes);
};

#define TYPE_ROW(name, code, bounds, label, value) type_row{code, value},
constexpr type_row type_table[] = {KIV_PARAMETER_TYPE_TABLE(TYPE_ROW)};
#undef TYPE_ROW

size_t aligned(size_t size)
{
    return (size + alignment - 1) / alignment * alignment;
}

template <class Record>
void append(std::string &out, const Record &record)
{
    out.append(reinterpret_cast<const char *>(&record), sizeof record);
}

void append(std::string &out, const argument &each)
{
    append(out, argument_head{each.token_id, each.type, each.mask, each.subtype,
                              static_cast<uint32_t>(each.value.size())});
    out.append(each.value);
    out.resize(aligned(out.size()));
}

// What is left of a payload.
class reader {
public:
    explicit reader(std::span<std::byte> payload) : rest_(payload) {}

    bool at_end() const { return rest_.empty(); }

    // Steps over what stands there in so many bytes; null where they are not there.
    std::byte *take(size_t size)
    {
        if (size > rest_.size() || aligned(size) > rest_.size())
            return nullptr;
        std::byte *taken = rest_.data();
        rest_ = rest_.subspan(aligned(size));
        return taken;
    }

    template <class Record>
    bool read(Record &record)
    {
        const std::byte *taken = take(sizeof record);
        if (taken != nullptr)
            std::memcpy(&record, taken, sizeof record);
        return taken != nullptr;
    }

private:
    std::span<std::byte> rest_;
};

bool read_argument(reader &from, param_arg &entry)
{
    argument_head head;
    if (!from.read(head))
        return false;
    std::byte *value = from.take(head.size);
    if (value == nullptr || !is_value(head.type, bytes(value, head.size)))
        return false;
    entry = {head.token_id, head.type, head.mask, head.size == 0 ? nullptr : value, head.subtype};
    return true;
}

template <size_t Size>
void take_text(char (&field)[Size], const char (&sent)[Size])
{
    std::ranges::copy(sent, field);
    field[Size - 1] = '\0';
}

// Only the session is taken over from the sender's record: who the user is, and what that user may
// do, is not the sender's to say.
void keep_session(pinfo &info)
{
    const pinfo sent = info;
    info = {};
    info.vsan_mask.size = sizeof info.vsan_mask.bytes;
    info.ascii_cmd_index = sent.ascii_cmd_index;
    info.no_flag = sent.no_flag;
    info.debug_flag = sent.debug_flag;
    info.submode_context = sent.submode_context;
    info.cmi_msg_type = sent.cmi_msg_type;
    info.shell_type = sent.shell_type;
    info.asciigen_level = sent.asciigen_level;
    info.ascii_gen = sent.ascii_gen;
    info.command_id = sent.command_id;
    info.script_mode = sent.script_mode;
    take_text(info.ascii_command, sent.ascii_command);
    take_text(info.vty_id, sent.vty_id);
    take_text(info.session_id, sent.session_id);
}

} // namespace

bool is_value(uint32_t type, bytes value)
{
    const auto *row = std::ranges::find(type_table, type, &type_row::type);
    return row != std::end(type_table) && row->is_value(value);
}

std::string write_request(std::string_view function, const pinfo &info,
                          std::span<const argument> arguments)
{
    if (function.size() >= function_size || arguments.size() > most_arguments)
        return {};
    request_head head{
        protocol_version, static_cast<uint32_t>(arguments.size()), sizeof(pinfo), 0, {}};
    std::ranges::copy(function, head.function);
    size_t size = sizeof head + aligned(sizeof info);
    for (const argument &each : arguments)
        size += sizeof(argument_head) + aligned(each.value.size());
    std::string out;
    out.reserve(size);
    append(out, head);
    append(out, info);
    // The list of arguments is addresses in this process.
    out.replace(sizeof head + offsetof(pinfo, args), sizeof info.args, sizeof info.args, '\0');
    out[sizeof head + offsetof(pinfo, parameter_count)] = 0;
    out.resize(aligned(out.size()));
    for (const argument &each : arguments) {
        if (each.value.size() > OVRA_MAX_PAYLOAD)
            return {};
        append(out, each);
    }
    return out.size() <= OVRA_MAX_PAYLOAD ? out : std::string();
}

bool request::read(bytes payload)
{
    payload_.resize(aligned(payload.size()) / sizeof(uint64_t));
    const std::span own = std::as_writable_bytes(std::span(payload_)).first(payload.size());
    if (!payload.empty())
        std::memcpy(own.data(), payload.data(), payload.size());
    reader from(own);
    request_head head;
    const std::byte *start = own.data();
    if (!from.read(head) || head.version != protocol_version || head.reserved != 0 ||
        head.pinfo_size != sizeof(pinfo) || head.argument_count > most_arguments ||
        !ends(head.function) || !from.read(info_))
        return false;
    function_ = reinterpret_cast<const char *>(start + offsetof(request_head, function));
    keep_session(info_);
    for (uint32_t i = 0; i < head.argument_count; ++i) {
        if (!read_argument(from, arguments_[i]))
            return false;
        pinfo_insert_arg(&info_, &arguments_[i]);
    }
    return from.at_end() && info_.submode_context >= 0 &&
           info_.submode_context <= static_cast<int32_t>(head.argument_count);
}

} // namespace kiv::module
