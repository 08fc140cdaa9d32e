// The simulated card's commands, and the orders that they give.

#include "control.h"

#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <random>
#include <stdexcept>

namespace
{

using bytes = std::vector<std::uint8_t>;
using cardsim::json;

class CardControl : public testing::Test
{
protected:
    cardsim::card card;

    std::string run(const std::vector<std::string>& words) { return cardsim::control(card, words); }
    json state() { return json::parse(run({"state"})); }
    // The command is refused with this sentence, and nothing has changed.
    void expect_refused(const std::string& sentence, const std::vector<std::string>& words)
    {
        const json before = state();
        try {
            run(words);
            ADD_FAILURE() << "not refused: " << sentence;
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(error.what(), sentence);
        }
        EXPECT_EQ(state(), before);
    }
    cardsim::card::reply speed()
    {
        bytes record(8);
        return card.serve(VESK_NODE_HDC, 0x790B, record);
    }
};

TEST_F(CardControl, connects_and_disconnects_a_client)
{
    EXPECT_EQ(run({"connect", "192.0.2.5"}), "");
    EXPECT_EQ(state()["session"], (json{{"flags", 1}, {"transitions", 1}, {"peer", "192.0.2.5"}}));
    EXPECT_EQ(run({"disconnect"}), "");
    EXPECT_EQ(state()["session"], (json{{"flags", 0}, {"transitions", 2}, {"peer", ""}}));
}

TEST_F(CardControl, leaves_nothing_of_the_address_before)
{
    run({"connect", "192.0.2.100"});
    run({"connect", "192.0.2.5"});
    const std::string_view ip(card.kept.sess_link.ip, sizeof(card.kept.sess_link.ip));
    EXPECT_EQ(ip, "192.0.2.5" + std::string(sizeof(card.kept.sess_link.ip) - 9, '\0'));
}

TEST_F(CardControl, sets_a_key_whose_value_may_have_blanks)
{
    EXPECT_EQ(run({"set", "context.hoip_enable=0"}), "");
    EXPECT_EQ(card.offered.kmp_context.hoip_enable, 0);
    EXPECT_EQ(run({"set", "tag.text=desk", "", "2"}), "");
    EXPECT_STREQ(card.kept.sess_tag.tag, "desk  2");
    EXPECT_EQ(run({"set", "readable=sess_tag", "unicode"}), "");
    EXPECT_EQ(card.offered.readable.map[0], 1U << HMI_VAR_SESS_TAG | 1U << HMI_VAR_UNICODE);
}

TEST_F(CardControl, lets_requests_fail_or_return_a_value)
{
    run({"fail", "0x790B", "EIO", "2"});
    run({"return", "KMP_CUR_SPD_GET", "7", "3"});
    EXPECT_EQ(speed().result, 0);
    EXPECT_EQ(speed().result, -EIO);
    EXPECT_EQ(speed().result, 7);
    EXPECT_EQ(speed().result, 0);
    run({"fail", "HDC_IOCTL_KMP_CUR_SPD_GET", "11"});
    EXPECT_EQ(speed().result, -EAGAIN);
    EXPECT_EQ(speed().result, -EAGAIN);
    run({"normal", "30987"});
    EXPECT_EQ(speed().result, 0);
}

TEST_F(CardControl, counts_far_ahead)
{
    speed();
    run({"fail", "0x790B", "EIO", "1000000000"});
    EXPECT_EQ(speed().result, 0);
    EXPECT_EQ(state()["orders"][0]["nth"], 999999999);
}

TEST_F(CardControl, delays_a_reply_whatever_its_result)
{
    run({"delay", "0x790B", "250", "2"});
    run({"fail", "0x790B", "EIO", "2"});
    EXPECT_EQ(speed().delay_ms, 0U);
    const auto end = speed();
    EXPECT_EQ(end.delay_ms, 250U);
    EXPECT_EQ(end.result, -EIO);
    EXPECT_EQ(speed().delay_ms, 0U);
    run({"delay", "0x790B", "3600000"});
    EXPECT_EQ(speed().delay_ms, 3600000U);
    EXPECT_EQ(speed().delay_ms, 3600000U);
}

TEST_F(CardControl, fills_a_reply_with_the_bytes_of_the_seed)
{
    EXPECT_EQ(run({"seed", "5"}), "");
    std::mt19937 random(5);
    bytes expected(8);
    std::ranges::generate(expected, [&random] { return static_cast<std::uint8_t>(random()); });

    run({"random", "0x790B", "2"});
    bytes first(8);
    bytes second(8);
    bytes third(8);
    EXPECT_EQ(card.request(VESK_NODE_HDC, 0x790B, first), 0);
    EXPECT_EQ(card.request(VESK_NODE_HDC, 0x790B, second), 0);
    EXPECT_EQ(card.request(VESK_NODE_HDC, 0x790B, third), 0);
    EXPECT_EQ(first, (bytes{0, 0, 0, 0, 100, 0, 0, 0}));
    EXPECT_EQ(second, expected);
    EXPECT_EQ(third, first);
}

TEST_F(CardControl, fills_no_record_of_a_request_that_fails)
{
    run({"random", "0x790B"});
    bytes wrong(8, 1);
    EXPECT_EQ(card.request(VESK_NODE_HDC, 0x790B, wrong), -EINVAL);
    EXPECT_EQ(wrong, bytes(8, 1));
    run({"fail", "0x790B", "EIO"});
    bytes record(8);
    EXPECT_EQ(card.request(VESK_NODE_HDC, 0x790B, record), -EIO);
    EXPECT_EQ(record, bytes(8));
}

TEST_F(CardControl, keeps_what_a_request_sets_when_its_reply_is_random)
{
    run({"random", "0x7803"});
    bytes record(252);
    record[0] = HMI_VAR_UNICODE;
    record[4] = 9;
    EXPECT_EQ(card.request(VESK_NODE_HCC, 0x7803, record), 0);
    EXPECT_EQ(card.kept.unicode, 9U);
}

TEST_F(CardControl, tells_the_orders_that_are_still_to_come)
{
    run({"fail", "0x790B", "EIO", "2"});
    run({"delay", "0x790B", "5", "1"});
    run({"random", "0x7801"});
    run({"return", "0x7913", "3"});
    speed();
    EXPECT_EQ(state()["orders"], (json{
                                     {{"request", "KMP_CUR_SPD_GET"}, {"nth", 1}, {"result", "EIO"}},
                                     {{"request", "HMI_AVAIL_CMD"}, {"nth", "every"}, {"random", true}},
                                     {{"request", "KMP_HOIP_HOST_RDY"}, {"nth", "every"}, {"result", 3}},
                                 }));
    run({"normal"});
    EXPECT_EQ(state()["orders"], json::array());
    EXPECT_EQ(speed().result, 0);
}

TEST_F(CardControl, keeps_of_two_orders_for_the_same_request_the_later_one)
{
    run({"fail", "0x790B", "EIO", "2"});
    run({"return", "0x790B", "3", "1"});
    run({"delay", "0x790B", "5", "2"});
    run({"fail", "0x7801", "EIO", "2"});
    speed();
    run({"fail", "0x790B", "EBUSY", "1"});
    const json delayed{{"request", "KMP_CUR_SPD_GET"}, {"nth", 1}, {"delay_ms", 5}};
    const json other{{"request", "HMI_AVAIL_CMD"}, {"nth", 2}, {"result", "EIO"}};
    EXPECT_EQ(state()["orders"],
              (json{delayed, other, {{"request", "KMP_CUR_SPD_GET"}, {"nth", 1}, {"result", "EBUSY"}}}));
    run({"fail", "0x790B", "EAGAIN"});
    EXPECT_EQ(state()["orders"],
              (json{delayed, other, {{"request", "KMP_CUR_SPD_GET"}, {"nth", "every"}, {"result", "EAGAIN"}}}));
    EXPECT_EQ(speed().result, -EAGAIN);
    card.order(0x790B, 0);
    EXPECT_EQ(state()["orders"], json::array({other}));
}

TEST_F(CardControl, tells_what_the_client_shows_and_what_the_driver_was_told)
{
    bytes shape{3, 0, 0x0A, 0, 0, 0, 0, 0, 0, 0x82, 5, 6, 1, 1, 0, 0, 24, 0, 0, 0, 1, 2, 3, 4};
    bytes open{1, 0, 0, 0, 1, 0, 0, 0};
    bytes tablet{1, 0, 0, 0, 1, 0, 0, 0};
    EXPECT_EQ(state()["client"], (json{{"shown", nullptr}, {"cache", json::object()}}));
    EXPECT_EQ(state()["requests"], json::object());
    EXPECT_EQ(card.request(VESK_NODE_HDC, 0x7906, shape), 0);
    EXPECT_EQ(card.request(VESK_NODE_HCC, 0x7821, open), 0);
    EXPECT_EQ(card.request(VESK_NODE_HDC, 0x7911, tablet), 0);
    const json all = state();
    const json picture{{"kind", "ALPHA"}, {"width", 1}, {"height", 1}, {"arguments", {5, 6}}};
    EXPECT_EQ(all["schema_version"], 2);
    EXPECT_EQ(all["client"], (json{{"shown", picture}, {"cache", {{"2", picture}}}}));
    EXPECT_EQ(all["driver"]["local_tablet"], 1);
    EXPECT_EQ(all["driver"]["pointer_reports"], 0);
    EXPECT_EQ(all["driver"]["channel_open"], true);
    EXPECT_EQ(all["driver"]["path_open"], false);
    EXPECT_EQ(all["driver"]["cursor_speed"], 100);
    EXPECT_EQ(all["requests"], (json{{"KMP_HDC_COMM_CTRL", 1}, {"KMP_CUR_SHAPE_BMP", 1}, {"KMP_DRIVER_CFG_SET", 1}}));
}

TEST_F(CardControl, tells_text_that_is_none)
{
    card.kept.sess_tag.tag[0] = '\xFF';
    EXPECT_EQ(state()["tag"]["text"], "\uFFFDesk 1");
}

TEST_F(CardControl, draws_what_the_client_sees)
{
    EXPECT_TRUE(run({"render", "svg"}).starts_with("<svg "));
    EXPECT_TRUE(run({"render", "png"}).starts_with("\x89PNG"));
}

TEST_F(CardControl, refuses_what_is_wrong)
{
    expect_refused("a command is missing", {});
    expect_refused("'fly' is not a command", {"fly"});
    expect_refused("'tag.text=a' is followed by a line end", {"set", "tag.text=a\nb"});
    expect_refused("'x' is not a number of 32 bits", {"seed", "x"});
    expect_refused("'connect' needs more words", {"connect"});
    expect_refused("'fail' needs more words", {"fail", "0x7801"});
    expect_refused("'now' is one word too many", {"disconnect", "now"});
    expect_refused("'x' is one word too many", {"fail", "0x7801", "EIO", "1", "x"});
    expect_refused("'' has no length between 1 and 35", {"connect", ""});
    expect_refused("'a' is followed by a blank or a control character", {"connect", "a b"});
    expect_refused("'port' is not KEY=VALUE", {"set", "port"});
    expect_refused("'x' is not a number of 32 bits", {"set", "port=x"});
    expect_refused("'0x1' is not the code of a request", {"fail", "0x1", "EIO"});
    expect_refused("'CUR_SPD_GET' is not the code of a request", {"random", "CUR_SPD_GET"});
    expect_refused("'EWHAT' is not an errno", {"fail", "0x7801", "EWHAT"});
    expect_refused("'0' is not an errno", {"fail", "0x7801", "0"});
    expect_refused("'ENOSYS' cannot reach a client", {"fail", "0x7801", "ENOSYS"});
    expect_refused("'0x26' cannot reach a client", {"fail", "0x7801", "0x26", "1"});
    expect_refused("'0' is not a number from 1 to 1000000000", {"fail", "0x7801", "EIO", "0"});
    expect_refused("'4294967295' is not a number from 1 to 1000000000", {"fail", "0x7801", "EIO", "4294967295"});
    expect_refused("'1000000001' is not a number from 1 to 1000000000", {"delay", "0x7801", "1", "1000000001"});
    expect_refused("'x' is not a number from 1 to 1000000000", {"random", "0x7801", "x"});
    expect_refused("'0' is not a number from 1 to 2147483647", {"return", "0x7801", "0"});
    expect_refused("'2147483648' is not a number from 1 to 2147483647", {"return", "0x7801", "2147483648"});
    expect_refused("'3600001' is not a number from 1 to 3600000", {"delay", "0x7801", "3600001"});
    expect_refused("'0x1' is not the code of a request", {"normal", "0x1"});
    expect_refused("'gif' is neither svg nor png", {"render", "gif"});
}

TEST_F(CardControl, knows_every_request_by_its_names)
{
    for (const auto& known : vesk_requests) {
        EXPECT_EQ(cardsim::parse_code(known.name), known.code);
        EXPECT_EQ(cardsim::parse_code(cardsim::short_name(known)), known.code);
    }
}

TEST_F(CardControl, knows_which_commands_change_the_card)
{
    for (const char* name : {"connect", "disconnect", "set", "fail", "return", "delay", "random", "normal", "seed"})
        EXPECT_TRUE(cardsim::changes_card(name)) << name;
    EXPECT_FALSE(cardsim::changes_card("state"));
    EXPECT_FALSE(cardsim::changes_card("render"));
}

} // namespace
