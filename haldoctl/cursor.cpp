// cursor: the local cursor of the session's client, its pointer and its shapes.
#include "commands.h"
#include "options.h"
#include "shape.h"

#include <ctime>

namespace haldoctl
{

namespace
{

// Milliseconds, for a user who has none of his own.
unsigned int time_stamp_now()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<unsigned int>(now.tv_sec * 1000 + now.tv_nsec / 1'000'000);
}

json set_visible(invocation& given, bool visible, std::optional<unsigned int> time_stamp)
{
    const unsigned int stamp = time_stamp.value_or(time_stamp_now());
    given.require(given.link().lcur_pointer_visibility_set(stamp, visible ? 1 : 0),
                  visible ? "to show the pointer" : "to hide the pointer");
    return {{"visible", visible}, {"time_stamp", stamp}};
}

json move(invocation& given, unsigned short x, unsigned short y, std::optional<unsigned int> time_stamp)
{
    const unsigned int stamp = time_stamp.value_or(time_stamp_now());
    given.require(given.link().lcur_pointer_location_set(stamp, x, y), "to move the pointer");
    return {{"x", x}, {"y", y}, {"time_stamp", stamp}};
}

json move_if_new(invocation& given, unsigned short x, unsigned short y)
{
    given.require(given.link().lcur_pointer_location_set_if_new(x, y), "to move the pointer");
    return {{"x", x}, {"y", y}, {"time_stamp", nullptr}};
}

json show_slot(invocation& given, unsigned int slot)
{
    const int result = given.kmp_link().lcur_change_shape_send(static_cast<unsigned char>(slot));
    // The context has fewer slots.
    given.require(result == VESK_INVALID_ARGUMENT ? VESK_NOT_SUPPORTED : result,
                  "the shape in slot " + std::to_string(slot));
    return {{"slot", slot}};
}

struct shape_options {
    std::vector<std::string> files;
    bool color = false;
    bool monochrome = false;
    bool any_size = false;
    unsigned int arg1 = 0;
    unsigned int arg2 = 0;
};

json send_shape(invocation& given, const std::string& file, const shape& sent, const shape_options& options)
{
    cVESK_HALDO_LINK& link = given.kmp_link();
    const auto arg1 = static_cast<std::uint8_t>(options.arg1);
    const auto arg2 = static_cast<std::uint8_t>(options.arg2);
    const auto length = static_cast<unsigned int>(sent.bitmap.size());
    if (!options.any_size)
        given.require(link.lcur_shape_size_valid(sent.width, sent.height, sent.type),
                      "a shape of " + std::to_string(sent.width) + "x" + std::to_string(sent.height) + " px: " + file);
    unsigned char slot = 0;
    const bool is_cached = link.is_bitmap_cached(arg1, arg2, sent.width, sent.height, sent.and_depth, sent.xor_depth,
                                                 sent.bitmap.data(), length, sent.type, &slot) != 0;
    given.require(link.lcur_shape_bmp_send(arg1, arg2, sent.width, sent.stated_height(), sent.and_depth, sent.xor_depth,
                                           sent.bitmap.data(), length, sent.type),
                  "the shape " + file);
    return {{"file", file},
            {"type", sent.type == KMP_CUR_BITMAP_TYPE_ALPHA ? "ALPHA" : "COLOR"},
            {"width", sent.width},
            {"height", sent.height},
            {"xor_depth", sent.xor_depth},
            {"length", length},
            {"cached", is_cached}};
}

// All files are read before the first shape is shown.
json show_shapes(invocation& given, const shape_options& options)
{
    const shape_kind kind = options.color        ? shape_kind::COLOR
                            : options.monochrome ? shape_kind::MONOCHROME
                                                 : shape_kind::ALPHA;
    std::vector<shape> shapes;
    for (const std::string& file : options.files)
        shapes.push_back(read_shape(file, kind));
    given.kmp_link().init_bitmap_cache();
    json shown = json::array();
    for (std::size_t i = 0; i < shapes.size(); ++i)
        shown.push_back(send_shape(given, options.files[i], shapes[i], options));
    return {{"shapes", shown}};
}

} // namespace

void add_cursor(command_line& line)
{
    CLI::App& cursor = line.add_group(line.root(), "cursor", "The local cursor");
    line.add(cursor, "enable", "Switch local cursor and keyboard on",
             operation(&cVESK_HALDO_LINK::lcur_lkbd_enable, {{"local_cursor", true}}, "the local cursor and keyboard",
                       &invocation::kmp_link));
    line.add(cursor, "disable", "Switch local cursor and keyboard off",
             operation(&cVESK_HALDO_LINK::lcur_lkbd_disable, {{"local_cursor", false}}, "the local cursor and keyboard",
                       &invocation::kmp_link));

    auto time_stamp = std::make_shared<std::optional<unsigned int>>();
    const auto add_time_stamp = [&](CLI::App* to) {
        return to->add_option("--time-stamp", *time_stamp, "In milliseconds (the time since the start of the system)")
            ->transform(number<unsigned int>());
    };
    add_time_stamp(line.add(cursor, "show", "Show the pointer",
                            [=](invocation& given) { return set_visible(given, true, *time_stamp); }));
    add_time_stamp(line.add(cursor, "hide", "Hide the pointer",
                            [=](invocation& given) { return set_visible(given, false, *time_stamp); }));

    auto x = std::make_shared<unsigned short>();
    auto y = std::make_shared<unsigned short>();
    auto if_new = std::make_shared<bool>(false);
    CLI::App* const moved = line.add(cursor, "move", "Move the pointer", [=](invocation& given) {
        return *if_new ? move_if_new(given, *x, *y) : move(given, *x, *y, *time_stamp);
    });
    moved->add_option("X", *x, "px")->required()->transform(number<unsigned short>());
    moved->add_option("Y", *y, "px")->required()->transform(number<unsigned short>());
    moved->add_flag("--if-new", *if_new, "Leave it to the driver whether the position is a new one")
        ->disable_flag_override()
        ->excludes(add_time_stamp(moved));

    CLI::App& speed = line.add_group(cursor, "speed", "The speed of the local cursor");
    line.add(speed, "get", "Show it",
             reading(&cVESK_HALDO_LINK::lcur_spd_get, std::identity(), "speed", "the speed of the local cursor",
                     &invocation::kmp_link));
    auto value = std::make_shared<unsigned int>();
    line.add(speed, "set", "Set it",
             setting(&cVESK_HALDO_LINK::lcur_spd_set, value, "speed", "to set the speed of the local cursor",
                     &invocation::kmp_link))
        ->add_option("SPEED", *value, "The speed")
        ->required()
        ->transform(number(KMP_CUR_SPD_MIN, KMP_CUR_SPD_MAX));
    line.add(cursor, "idle-hide", "Set how an idle local cursor is hidden",
             setting(&cVESK_HALDO_LINK::lcur_idle_hide_set, value, "idle_hide", "to hide an idle local cursor",
                     &invocation::kmp_link))
        ->add_option("VALUE", *value, "The driver's to interpret")
        ->required()
        ->transform(number<unsigned int>());
    line.add(cursor, "slot", "Show the shape in a slot of the client's cache",
             [=](invocation& given) { return show_slot(given, *value); })
        ->add_option("SLOT", *value, "The slot")
        ->required()
        ->transform(number<unsigned char>());

    auto options = std::make_shared<shape_options>();
    CLI::App* const shown = line.add(cursor, "shape", "Show PNG files as cursor shapes, one after the other",
                                     [=](invocation& given) { return show_shapes(given, *options); });
    shown->add_option("FILE", options->files, "PNG file of at most 255 by 255 px")->required();
    CLI::Option* const color =
        shown->add_flag("--color", options->color, "As COLOR: with an AND plane and colours of 32 bits")
            ->disable_flag_override();
    shown->add_flag("--mono", options->monochrome, "As COLOR with an XOR plane of 1 bit; at most 127 rows")
        ->disable_flag_override()
        ->excludes(color);
    shown->add_flag("--any-size", options->any_size, "Send what the client says is too large, too")
        ->disable_flag_override();
    shown->add_option("--arg1", options->arg1, "First argument of the shape")->transform(number<unsigned char>());
    shown->add_option("--arg2", options->arg2, "Second argument of the shape")->transform(number<unsigned char>());
}

} // namespace haldoctl
