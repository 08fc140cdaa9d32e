// tag: the session tag.
#include "commands.h"
#include "options.h"

namespace haldoctl
{

namespace
{

using tag_record = sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT;

json described(const tag_record& tag)
{
    return {{"text", text_of(tag.tag)}, {"brokered", (tag.flags & HMI_SESS_TAG_BROKERED) != 0}, {"flags", tag.flags}};
}

tag_record read_tag(invocation& given)
{
    tag_record tag{};
    given.require(given.link().sess_tag_get(&tag), "the session tag");
    return tag;
}

// What is not given stays as it is.
json set_tag(invocation& given, const std::optional<std::string>& text, std::optional<unsigned int> flags)
{
    if (!text && !flags)
        throw failure{USAGE, "'haldoctl tag set' needs TAG or --flags"};
    tag_record tag = read_tag(given);
    if (text)
        put_text(tag.tag, *text);
    if (flags)
        tag.flags = static_cast<std::uint8_t>(*flags);
    given.require(given.link().sess_tag_set(&tag), "to set the session tag");
    return described(tag);
}

} // namespace

void add_tag(command_line& line)
{
    CLI::App& tag = line.add_group(line.root(), "tag", "The session tag");
    line.add(tag, "get", "Show it", [](invocation& given) { return described(read_tag(given)); });

    auto text = std::make_shared<std::optional<std::string>>();
    auto flags = std::make_shared<std::optional<unsigned int>>();
    CLI::App* const setting = line.add(tag, "set", "Change what is given of it",
                                       [=](invocation& given) { return set_tag(given, *text, *flags); });
    setting->add_option("TAG", *text, "The text")->transform(text_up_to(sizeof(tag_record::tag)));
    setting->add_option("--flags", *flags, "The flags; bit 0: the view is brokered")->transform(number<std::uint8_t>());
}

} // namespace haldoctl
