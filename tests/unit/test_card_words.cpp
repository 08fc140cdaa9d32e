// The simulated card's requests in words, and their record.

#include "control.h"
#include "record.h"
#include "words.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <stdexcept>

namespace
{

using bytes = std::vector<std::uint8_t>;

class CardWords : public testing::Test
{
protected:
    std::vector<std::string> words;
    std::vector<std::string> record;
    cardsim::card card;

    CardWords()
    {
        card.observer = [this](const cardsim::card::exchange& one) {
            words.push_back(words_of(one));
            record.push_back(record_line(one));
        };
    }
    // Issues a request with these first bytes and zero behind them, and returns it in words.
    std::string request(std::uint32_t code, bytes head = {})
    {
        const auto* const known = cardsim::find_request(code);
        if (known->length != VESK_LENGTH_VARIES)
            head.resize(known->length);
        card.request(known->node, code, head);
        return words.back();
    }
};

TEST_F(CardWords, tell_what_the_control_channel_carries)
{
    card.offered.readable.map[0] = 0x2806;
    card.connect("192.0.2.5");
    card.kept.topology.disp[1] = {-5, 6, 7, 8, 2};
    card.kept.async_topology.value = 11;
    EXPECT_EQ(request(0x7801), "HCC HMI_AVAIL_CMD -> 0 commands=[\"avail_cmd\",\"var_get\",\"var_set\"]");
    EXPECT_EQ(request(0x7804, {1}), "HCC HMI_LOCAL_VAR_GET variable=1 -> 0 value=65538");
    EXPECT_EQ(request(0x7805, {0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}), "HCC HMI_LOCAL_VAR_SET variable=0 value=-1 -> 0");
    EXPECT_EQ(request(0x7821, {1, 0, 0, 0, 1}), "HCC KMP_HDC_COMM_CTRL channel=1 open=1 -> 0");
    EXPECT_EQ(request(0x7840),
              "HCC IMG_DISP_TOPO_GET -> 0 display.0=1920x1080+0+0 display.1=7x8-5+6/2 display.2=- display.3=-");
    bytes layout(12);
    layout[0] = 12;
    layout[8] = 9;
    EXPECT_EQ(request(0x7841, layout),
              "HCC IMG_DISP_TOPO_SEND display.0=0x0+9+0 display.1=- display.2=- display.3=- -> 0");
    EXPECT_EQ(request(0x7842), "HCC IMG_ASYNC_DISP_TOPO_GET -> 0 async_display.0=1920x1080+0+0 async_display.1=- "
                               "async_display.2=- async_display.3=- async_value=11");
    EXPECT_EQ(request(0x7843, {16}),
              "HCC IMG_CACHE_DISP_TOPO_GET -> 0 cached_display.0=1920x1080+0+0 cached_display.1=- "
              "cached_display.2=- cached_display.3=- rate.0=60 rate.1=0 rate.2=0 rate.3=0 primary=0 "
              "monitor.0.vid=\"VSK\" monitor.0.pid=\"1080\" monitor.0.serial=\"SN-0000000001\" "
              "monitor.0.name=\"Haldo display\" monitor.1.vid=\"\" monitor.1.pid=\"\" monitor.1.serial=\"\" "
              "monitor.1.name=\"\" monitor.2.vid=\"\" monitor.2.pid=\"\" monitor.2.serial=\"\" monitor.2.name=\"\" "
              "monitor.3.vid=\"\" monitor.3.pid=\"\" monitor.3.serial=\"\" monitor.3.name=\"\"");
    EXPECT_EQ(request(0x7845, {22, 0, 0, 0, 0, 0, 0, 0, 70}), "HCC IMG_USER_CFG_SET value=70 -> 0");
    EXPECT_EQ(request(0x7846, {23}), "HCC IMG_USER_CFG_REQ_GET -> 0 quality=80 b2l=30");
    EXPECT_EQ(request(0x7847, {24, 0, 0, 0, 0, 0, 0, 0, 71}), "HCC IMG_USER_CFG_CACHE_SET value=71 -> 0");
    EXPECT_EQ(request(0x7910, {1, 0, 0, 0, 2, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}).substr(0, 83),
              "HCC KMP_DISP_TOPO_SET twinview=1 active_displays=2 min_x=-1 max_x=0 min_y=0 max_y=0");
    const std::string context = request(0x7822, {2});
    EXPECT_TRUE(context.starts_with("HCC KMP_PRI_CTXT_GET request=2 -> 0 context.request=2 context.pri_num=1 "));
    EXPECT_TRUE(context.ends_with(" context.hoip_supported=1 context.hoip_enable=1"));
}

TEST_F(CardWords, tell_each_variable_by_its_name)
{
    card.connect("192.0.2.5");
    const auto get = [this](std::uint8_t id) { return request(0x7802, {id}); };
    const auto set = [this](std::uint8_t id, std::uint8_t first) { return request(0x7803, {id, 0, 0, 0, first}); };
    card.offered.readable.map[0] = 0x37E;
    card.offered.writable.map[0] = 0x1358;
    EXPECT_EQ(get(0), "HCC HMI_VAR_GET variable=avail_var -> 0 readable=[\"link_info\",\"ipv4_cfg\",\"sess_link\","
                      "\"sess_tag\",\"conn_port\",\"sess_stat\",\"wol_cfg\",\"sess_disc\"]");
    EXPECT_EQ(get(1), "HCC HMI_VAR_GET variable=link_info -> 0 link_info=[1,1000,2,1500,33554432,7,86400,3]");
    EXPECT_EQ(get(2), "HCC HMI_VAR_GET variable=ipv4_cfg -> 0 ipv4=[1,3221225994,4294967040,3221225985,3221225986,"
                      "3221225987,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20]");
    EXPECT_EQ(get(3), "HCC HMI_VAR_GET variable=sess_link -> 0 session.flags=1 session.transitions=1 "
                      "session.peer=\"192.0.2.5\"");
    EXPECT_EQ(get(4), "HCC HMI_VAR_GET variable=sess_tag -> 0 tag.flags=0 tag.text=\"desk 1\"");
    EXPECT_EQ(get(5), "HCC HMI_VAR_GET variable=conn_port -> 0 port=5000");
    EXPECT_EQ(get(6), "HCC HMI_VAR_GET variable=sess_stat -> 0 stats=[101,102,103,104,105,106,107,108,109,110,111,"
                      "112,113,114,115,116,117,118,119,120,121,122,123,124,125]");
    EXPECT_EQ(get(8), "HCC HMI_VAR_GET variable=wol_cfg -> 0 wol.flags=1 wol.mac=\"02:00:00:00:00:01\" "
                      "wol.ip=\"192.0.2.10\"");
    EXPECT_EQ(get(9), "HCC HMI_VAR_GET variable=sess_disc -> EINVAL");
    EXPECT_EQ(get(77), "HCC HMI_VAR_GET variable=bit77 -> EOPNOTSUPP");
    EXPECT_EQ(set(0, 0), "HCC HMI_VAR_SET variable=avail_var -> 0 writable=[\"sess_link\",\"sess_tag\",\"sess_stat\","
                         "\"wol_cfg\",\"sess_disc\",\"unicode\"]");
    EXPECT_EQ(set(3, 0), "HCC HMI_VAR_SET variable=sess_link -> 0");
    EXPECT_EQ(set(4, 2), "HCC HMI_VAR_SET variable=sess_tag tag.flags=2 tag.text=\"\" -> 0");
    EXPECT_EQ(set(5, 7), "HCC HMI_VAR_SET variable=conn_port port=7 -> EOPNOTSUPP");
    EXPECT_EQ(set(6, 0), "HCC HMI_VAR_SET variable=sess_stat -> 0");
    EXPECT_EQ(set(8, 2), "HCC HMI_VAR_SET variable=wol_cfg wol.flags=2 wol.mac=\"\" wol.ip=\"\" -> 0");
    EXPECT_EQ(set(9, 3), "HCC HMI_VAR_SET variable=sess_disc disconnect_reason=3 -> 0");
    EXPECT_EQ(set(12, 4), "HCC HMI_VAR_SET variable=unicode unicode=4 -> 0");
    EXPECT_EQ(set(11, 0), "HCC HMI_VAR_SET variable=cached_topo -> EOPNOTSUPP");
}

TEST_F(CardWords, tell_what_the_driver_channel_carries)
{
    EXPECT_EQ(request(0x7900), "HDC KMP_HDC_OPEN -> ENOTCONN");
    EXPECT_EQ(request(0x7901), "HDC KMP_HDC_CLOSE -> 0");
    EXPECT_EQ(request(0x7902, {0, 0, 10, 0, 1}), "HDC KMP_FEAT_EN value=1 -> 0");
    EXPECT_EQ(request(0x7903), "HDC KMP_FEAT_STAT_GET -> 0 value=168496129");
    EXPECT_EQ(request(0x7904, {6, 0, 10, 0, 0, 0, 0, 0, 40, 0, 250}), "HDC KMP_KBD_REPEAT interval=40 delay=250 -> 0");
    EXPECT_EQ(request(0x790E), "HDC KMP_KBD_REPEAT_GET -> 0 interval=40 delay=250");
    EXPECT_EQ(request(0x7906, {3, 0, 10, 0, 0, 0, 0, 0, 0, 0x82, 5, 6, 1, 1, 0, 0, 24, 0, 0, 0, 1, 2, 3, 4}),
              "HDC KMP_CUR_SHAPE_BMP type=0 cache_slot=130 shape_arg1=5 shape_arg2=6 width=1 height=1 and_depth=0 "
              "xor_depth=0 length=24 -> 0");
    EXPECT_EQ(request(0x7907, {4, 0, 10, 0, 0, 0, 0, 0, 9}), "HDC KMP_CUR_SHAPE index=9 -> ENOENT");
    EXPECT_EQ(request(0x7908, {5, 0, 10, 0, 1, 2, 0, 0, 3, 0, 4}), "HDC KMP_CUR_POS time_stamp=513 x=3 y=4 -> 0");
    EXPECT_EQ(request(0x7909, {8, 0, 10, 0, 1, 2, 0, 0, 1}), "HDC KMP_CUR_VIS time_stamp=513 visible=1 -> 0");
    EXPECT_EQ(request(0x790A, {13, 0, 10, 0, 30}), "HDC KMP_CUR_IDLE_HIDE value=30 -> 0");
    EXPECT_EQ(request(0x790B), "HDC KMP_CUR_SPD_GET -> 0 value=100");
    EXPECT_EQ(request(0x790C, {15, 0, 10, 0, 9}), "HDC KMP_CUR_SPD_SET value=9 -> EINVAL");
    EXPECT_EQ(request(0x790D), "HDC KMP_LAST_STAT_GET -> 0 status=16909060 count=5 hoip_hid_devices=6 "
                               "hoip_tablet_activate_ack=7");
    EXPECT_EQ(request(0x790F, {1, 1, 2, 0}), "HDC KMP_CUR_POS_IF_NEW x=257 y=2 -> 0");
    EXPECT_EQ(request(0x7911, {1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}), "HDC KMP_DRIVER_CFG_SET type=1 setting=-1 -> 0");
    EXPECT_EQ(request(0x7912), "HDC KMP_HOIP_PROC_NEW_TAB -> 0");
    card.order(0x7913, 7);
    EXPECT_EQ(request(0x7913), "HDC KMP_HOIP_HOST_RDY -> 7");
}

TEST_F(CardWords, tell_no_fields_of_what_is_not_a_record)
{
    bytes record(9);
    card.request(VESK_NODE_HDC, 0x790B, record);
    EXPECT_EQ(words.back(), "HDC KMP_CUR_SPD_GET length=9 -> EINVAL");
    card.request(VESK_NODE_HDC, 0x5401, record);
    EXPECT_EQ(words.back(), "HDC request 0x5401 -> ENOTTY");
    card.request(VESK_NODE_HCC, 0x8004E250, record);
    EXPECT_EQ(words.back(), "HCC request 0x8004E250 -> ENOTTY");
    bytes shape(20);
    shape[18] = 4;
    EXPECT_EQ(cardsim::words_of({VESK_NODE_HDC, 0x7906, shape, shape, {-ENOMEM}, false}),
              "HDC KMP_CUR_SHAPE_BMP length=262144 -> ENOMEM");
}

TEST_F(CardWords, stay_on_one_line_whatever_the_text)
{
    std::memcpy(card.kept.sess_tag.tag, "a\n\"\xFF", 5);
    EXPECT_EQ(request(0x7802, {4}), "HCC HMI_VAR_GET variable=sess_tag -> 0 tag.flags=0 tag.text=\"a\\n\\\"\\ufffd\"");
}

// A record of every request there is, of each outcome and with commands in between.
class CardRecord : public CardWords
{
protected:
    std::string written;

    void take(const std::vector<std::string>& lines)
    {
        for (const std::string& line : lines)
            written += line + "\n";
    }
    void run(const std::vector<std::string>& command)
    {
        cardsim::control(card, command);
        take({cardsim::record_line(command)});
    }
    void issue(std::uint32_t code, const bytes& head = {})
    {
        request(code, head);
        take({record.back()});
    }
    std::vector<std::string> replay(const std::string& text)
    {
        std::istringstream lines(text);
        cardsim::card fresh;
        return cardsim::replay(fresh, lines, "some.record");
    }
    std::string refusal(const std::string& text)
    {
        try {
            replay(text);
            return "none";
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
    }
};

TEST_F(CardRecord, has_the_reply_of_a_request_that_succeeds)
{
    request(0x790B);
    request(0x7912);
    request(0x7801);
    card.order(0x790B, -EIO);
    request(0x790B);
    card.order(0x790B, 7);
    EXPECT_EQ(request(0x790B), "HDC KMP_CUR_SPD_GET -> 7 value=100");
    EXPECT_EQ(record, (std::vector<std::string>{
                          "HDC 0x790B HDC_IOCTL_KMP_CUR_SPD_GET 00 00 00 00 00 00 00 00 -> 0 = 00 00 00 00 64 00 00 00",
                          "HDC 0x7912 HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB -> 0",
                          "HCC 0x7801 HCC_IOCTL_HMI_AVAIL_CMD 00 00 00 00 (+28 zero) -> 0 = 07 00 00 00 (+28 zero)",
                          "HDC 0x790B HDC_IOCTL_KMP_CUR_SPD_GET 00 00 00 00 00 00 00 00 -> EIO",
                          "HDC 0x790B HDC_IOCTL_KMP_CUR_SPD_GET 00 00 00 00 00 00 00 00 -> 7 = 00 00 00 00 64 00 00 00",
                      }));
}

TEST_F(CardRecord, begins_with_the_seed_and_every_key)
{
    const cardsim::state start;
    const auto lines = cardsim::record_start(start, 7);
    ASSERT_EQ(lines.size(), 1 + cardsim::state_keys().size());
    EXPECT_EQ(lines[0], "> seed 7");
    EXPECT_EQ(lines[1], "> set commands=avail_cmd var_get var_set");
    EXPECT_EQ(lines.back(), "> set pointer.visibility_time_stamp=0");
}

TEST_F(CardRecord, is_replayed_on_a_new_card_without_a_difference)
{
    card.kept.sess_tag = {1, {}, "two  words"};
    card.kept.topology.disp[2] = {-1, -2, 3, 4, 5};
    card.offered.kmp_context.cur_shape_caches = 3;
    card.offered.writable.map[3] = 9;
    card.seed(9);
    take(cardsim::record_start({card.offered, card.kept}, 9));
    run({"connect", "192.0.2.5"});
    run({"fail", "0x790B", "EIO", "2"});
    run({"random", "0x7802", "2"});
    run({"delay", "0x7840", "5"});
    run({"return", "0x7913", "4"});
    for (int round = 0; round < 3; ++round)
        for (const auto& known : vesk_requests)
            issue(known.code, known.length == VESK_LENGTH_VARIES ? bytes(20, 20) : bytes());
    run({"set", "tag.text=another", "", "one"});
    issue(0x7802, {4});
    issue(0x7822, {2});
    EXPECT_EQ(replay(written), std::vector<std::string>());
}

TEST_F(CardRecord, is_replayed_from_the_text_of_the_program)
{
    take(cardsim::record_start({}, 7));
    EXPECT_EQ(replay(written + R"(> connect 192.0.2.77
> fail 30979 5
> set tag.text=desk  2
HCC 0x7801 HCC_IOCTL_HMI_AVAIL_CMD 00 00 00 00 (+28 zero) -> 0 = 07 00 00 00 (+28 zero)
HDC 0x7903 HDC_IOCTL_KMP_FEAT_STAT_GET 00 00 00 00 00 00 00 00 -> EIO
HDC 0x1234 unknown -> ENOTTY
HCC 0x7803 HCC_IOCTL_HMI_VAR_SET 03 00 00 00 (+248 zero) -> 0 = 03 00 00 00 (+248 zero)
> random KMP_CUR_SPD_GET 1
HDC 0x790B HDC_IOCTL_KMP_CUR_SPD_GET 00 00 00 00 00 00 00 00 -> 0 = AF C4 19 F6 43 D3 97 67
> return HDC_IOCTL_KMP_HOIP_HOST_RDY 7 2
HDC 0x7913 HDC_IOCTL_KMP_HOIP_HOST_RDY -> 0
HDC 0x7913 HDC_IOCTL_KMP_HOIP_HOST_RDY -> 7
> normal
HDC 0x7903 HDC_IOCTL_KMP_FEAT_STAT_GET 00 00 00 00 00 00 00 00 -> 0 = 00 00 00 00 00 0C 0B 0A
)"),
              std::vector<std::string>());
}

TEST_F(CardRecord, shows_what_is_different_and_where)
{
    issue(0x790B);
    issue(0x7912);
    std::string other = written;
    other.replace(other.find("64"), 2, "65");
    other.replace(other.rfind("-> 0"), 4, "-> EIO");
    EXPECT_EQ(
        replay("> set port=1\n" + other),
        (std::vector<std::string>{
            "some.record:2: HDC 0x790B HDC_IOCTL_KMP_CUR_SPD_GET 00 00 00 00 00 00 00 00 -> 0 = 00 00 00 00 65 00 "
            "00 00\n    now HDC 0x790B HDC_IOCTL_KMP_CUR_SPD_GET 00 00 00 00 00 00 00 00 -> 0 = 00 00 00 00 64 "
            "00 00 00",
            "some.record:3: HDC 0x7912 HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB -> EIO\n    now HDC 0x7912 "
            "HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB -> 0",
        }));
    EXPECT_EQ(replay("> set driver.cursor_speed=101\n" + other).size(), 1U);
}

TEST_F(CardRecord, names_file_line_and_word_of_a_line_that_is_none)
{
    const std::string good = "HDC 0x7912 HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB -> 0\n";
    EXPECT_EQ(refusal(good + "\n"), "some.record:2: '' is not a node");
    EXPECT_EQ(refusal(good + good + "HXC 0x7912 X -> 0"), "some.record:3: 'HXC' is not a node");
    EXPECT_EQ(refusal("HDC code X -> 0"), "some.record:1: 'code' is not the code of a request");
    EXPECT_EQ(refusal("HDC 0x790B X 0G -> 0"), "some.record:1: '0G' is not a byte");
    EXPECT_EQ(refusal("HDC 0x790B X 000 -> 0"), "some.record:1: '000' is not a byte");
    EXPECT_EQ(refusal("HDC 0x790B X 00 (+x zero) -> 0"), "some.record:1: '(+x' is not a byte");
    EXPECT_EQ(refusal("HDC 0x790B X 00 (+9999999 zero) -> 0"), "some.record:1: '(+9999999' is not a byte");
    EXPECT_EQ(refusal("> fly"), "some.record:1: 'fly' is not a command");
    EXPECT_EQ(refusal("> set port=x"), "some.record:1: 'x' is not a number of 32 bits");
}

} // namespace
