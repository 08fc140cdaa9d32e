// What stands in a table of the code and in a document, too, is the same in both.
#include "document.h"
#include "vesk_haldo_link.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdio>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <regex>
#include <set>

namespace
{

using names = std::vector<std::string>;

std::string hexadecimal(std::uint32_t code)
{
    char text[8];
    std::snprintf(text, sizeof(text), "0x%04X", code);
    return text;
}

std::set<std::string> unordered(const names& all)
{
    return {all.begin(), all.end()};
}

std::string lower_case(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

const names context_fields = {
#define VESK_FIELD(type, name) #name,
    VESK_KMP_PRI_CTXT_TABLE(VESK_FIELD)
#undef VESK_FIELD
};

// The predicates that ask the context. The firmware's stand in a table of their own.
const names client_predicates =
    all_of(document("haldo_link/include/vesk_haldo_link.h"), R"(int (\w+_avail|is_client_sc)\(\) const;)");

// --- docs/protocol.md ---

const std::string protocol = document("docs/protocol.md");

std::string record_of(const sVESK_REQUEST_STRUCT& request)
{
    switch (request.length) {
    case 0:
        return "none";
    case VESK_LENGTH_VARIES:
        return "as its bytes 16 to 19 say";
    default:
        return std::to_string(request.length);
    }
}

// The wake-on-LAN variable, which two requests carry, has a timeout of its own.
std::string timeout_of(const sVESK_REQUEST_STRUCT& request)
{
    std::string timeout = std::to_string(request.timeout_ms);
    if (request.code == HCC_IOCTL_HMI_VAR_GET.code || request.code == HCC_IOCTL_HMI_VAR_SET.code)
        timeout += " (" + std::to_string(VESK_WOL_CFG_TIMEOUT_MS) + " for the wake-on-LAN variable)";
    return timeout;
}

// The first predicate that a cell names, or nothing.
std::string predicate_in(const std::string& cell)
{
    const names found = all_of(cell, R"((\w+_avail)\b)");
    return found.empty() ? "" : found[0];
}

TEST(Protocol, has_the_requests)
{
    rows expected;
    for (const sVESK_REQUEST_STRUCT& request : vesk_requests)
        expected.push_back({hexadecimal(request.code), request.name, request.node == VESK_NODE_HCC ? "HCC" : "HDC",
                            record_of(request), timeout_of(request)});
    rows said = table(protocol, "code | name | node |");
    for (auto& row : said)
        row[2] = row[2].substr(0, 3); // behind it may stand why
    EXPECT_EQ(said, expected);
}

TEST(Protocol, has_the_nodes)
{
    rows said = table(protocol, "node | short |");
    for (auto& row : said)
        row.resize(2);
    EXPECT_EQ(said, (rows{{VESK_NODE_PATH_HCC, "HCC, control channel"}, {VESK_NODE_PATH_HDC, "HDC, driver channel"}}));
}

TEST(Protocol, has_the_results)
{
    std::map<int, std::string> said;
    for (const auto& row : table(protocol, "code | name | meaning |"))
        said[std::stoi(row[0])] = row[1];
    for (int code = -600; code <= 600; ++code)
        EXPECT_EQ(vesk_result_name(code), said.contains(code) ? said.at(code) : "unknown") << code;
}

TEST(Protocol, has_the_commands_of_the_firmware)
{
    names expected;
#define VESK_CMD(number, name) expected.push_back(#number " `HMI_CMD_" #name "`");
    VESK_HMI_CMD_TABLE(VESK_CMD)
#undef VESK_CMD
    EXPECT_EQ(all_of(std::regex_replace(protocol, std::regex("\n"), " "), R"((\d+ `HMI_CMD_\w+`) \()"), expected);
}

// The variables, each with the predicates that ask whether it can be read and written.
TEST(Protocol, has_the_variables)
{
    const std::string readable = "hmi_avail_get_var";
    rows expected;
#define VESK_VAR(number, name) expected.push_back({#number, "HMI_VAR_" #name, "", ""});
    VESK_HMI_VAR_TABLE(VESK_VAR)
#undef VESK_VAR
#define VESK_PREDICATE(name, map, variable, words) expected[HMI_VAR_##variable][#map == readable ? 2 : 3] = #name;
    VESK_HMI_PREDICATE_TABLE(VESK_PREDICATE)
#undef VESK_PREDICATE
    // These two ask the session's tag as well.
    expected[HMI_VAR_WOL_CFG][2] = "wol_cfg_get_avail";
    expected[HMI_VAR_WOL_CFG][3] = "wol_cfg_set_avail";
    rows said;
    for (const auto& row : table(protocol, "id | variable |")) {
        ASSERT_EQ(row.size(), 5U) << row[1];
        said.push_back({row[0], row[1], predicate_in(row[3]), predicate_in(row[4])});
    }
    EXPECT_EQ(said, expected);
}

// The session's context: offset, width and name of each field.
TEST(Protocol, has_the_fields_of_the_context)
{
    using context = sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT;
    rows expected;
#define VESK_FIELD(type, name)                                                                                         \
    expected.push_back({std::to_string(offsetof(context, name)), "u" + std::to_string(8 * sizeof(type)), #name});
    VESK_KMP_PRI_CTXT_TABLE(VESK_FIELD)
#undef VESK_FIELD
    expected.push_back({std::to_string(offsetof(context, reserved)),
                        std::to_string(sizeof(context::reserved)) + " bytes", "reserved"});
    rows said = table(protocol, "offset | width | field | meaning | asked by |");
    for (auto& row : said)
        row.resize(3);
    EXPECT_EQ(said, expected);
}

TEST(Protocol, names_for_each_field_of_the_context_the_predicates_that_ask_it)
{
    names said;
    for (const auto& row : table(protocol, "offset | width | field | meaning | asked by |"))
        std::ranges::copy(all_of(row.at(4), R"((\w+))"), std::back_inserter(said));
    EXPECT_EQ(unordered(said), unordered(client_predicates));
}

// --- haldo-cardsim(1) ---

// The names in a list of the manual, between two of its texts.
names listed(const std::string& begin, const std::string& end)
{
    const std::string manual = document("man/haldo-cardsim.1");
    const std::size_t first = manual.find(begin) + begin.size();
    return all_of(manual.substr(first, manual.find(end, first) - first), R"((\w+))");
}

TEST(CardsimManual, has_the_commands_and_variables_of_the_firmware)
{
    names commands, variables;
#define VESK_CMD(number, name) commands.push_back(lower_case(#name));
    VESK_HMI_CMD_TABLE(VESK_CMD)
#undef VESK_CMD
#define VESK_VAR(number, name) variables.push_back(lower_case(#name));
    VESK_HMI_VAR_TABLE(VESK_VAR)
#undef VESK_VAR
    EXPECT_EQ(listed("of the commands\n", ", or of the variables"), commands);
    EXPECT_EQ(listed("or of the variables ", ";"), variables);
}

TEST(CardsimManual, has_the_fields_of_the_context)
{
    EXPECT_EQ(listed("The client's KMP context:\n", "."), context_fields);
}

} // namespace
