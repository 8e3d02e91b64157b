#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/daemon/device_test.h"
#include "variables/central_state.h"
#include "variables/variable_store.h"

namespace kovo::device {
namespace {

using std::chrono::seconds;

constexpr char kDeadAddress[] = "10.0.0.99";  // on the network, but nobody answers there
constexpr char kSettingsFile[] = "/mnt/persistent/kovo_conf.txt";

struct Variables : DeviceTest {
  void SetUp() override {
    DeviceTest::SetUp();
    ASSERT_TRUE(start_tcp_sink(tcp, "127.0.0.1", 5127, TcpSinkMode::kSilent));
    ASSERT_TRUE(start_udp_sink(udp, "127.0.0.1", 0));
    port = std::to_string(udp.port);
  }

  /// All bytes of the arrivals from the given one on, one after the other.
  template <class Sink>
  std::string received(const Sink& sink, std::size_t from = 0) {
    std::string text;
    const std::vector<Arrival> all = arrivals(sink);
    for (std::size_t i = from; i < all.size(); ++i) text += all[i].bytes;
    return text;
  }

  std::string port;
};

TEST_F(Variables, AChangeIsToldStoredAndRaisesItsEvent) {
  UdpSink out;
  ASSERT_TRUE(start_udp_sink(out, "127.0.0.1", 0));
  write_file(kDefinitions,
             "NamedCount=1\nNamedXMLfield=name\n" + step("Named", 0, "UDP", out.port, "4E"));
  start();
  send_udp(2727, "e_param_set::device_name::Lobby%3a\\n1\n");
  ASSERT_TRUE(wait_arrivals(out, 1));
  ASSERT_TRUE(wait_arrivals(tcp, 1));
  EXPECT_EQ(received(tcp), "device_name=Lobby:\n1\n");
  EXPECT_NE(event_log().find("get lm event name\npush event: name\n"), std::string::npos);
  EXPECT_NE(main_log().find("[handle_udp_lm_var] recv(udp:2727) lm data(38)e_param_set::device_name"
                            "::Lobby%3a\\n1\n\n[handle_lm_event] get lm event name\n"),
            std::string::npos);
  send_tcp(2727, "e_param_set::DEVICE_NAME::Lobby\nlost");
  ASSERT_TRUE(wait_arrivals(tcp, 2));
  EXPECT_EQ(received(tcp, 1), "DEVICE_NAME=Lobby\n");
  ASSERT_TRUE(wait_log(kEventLog, "[handle_lm_event] skip event name, now-last="));
  EXPECT_EQ(arrivals(out).size(), 1U);
}

TEST_F(Variables, MessagesOfAnySizeReachTheQueueAsReceived) {
  daemon = start_daemon();  // without a network yet: it takes messages all the same
  ASSERT_TRUE(wait_log(kMainLog, "[handle_tcp_lm_var] bind 127.0.0.1 tcp:2727\n"));
  ASSERT_TRUE(wait_log(kMainLog, "[handle_udp_lm_var] bind 127.0.0.1 udp:2727\n"));
  for (int i = 0; i < 2000; ++i) send_udp(2727, "");
  send_udp(2727, "x");
  send_udp(2727, "ab::");
  send_udp(2727, "x:" + std::string(4094, 'y'));
  send_udp(2727, "z:" + std::string(4998, 'y'));
  send_udp(2727, std::string("nul:\0:a::b", 10));
  ASSERT_EQ(send_tcp(2727, "t:a\nb"), 0);
  ASSERT_EQ(send_tcp(2727, "u:" + std::string(2000, 'y')), 0);
  ASSERT_EQ(send_tcp(2727, ""), 0);
  for (const char* word : {"ab", "x", "z", "nul", "t", "u"}) {
    EXPECT_TRUE(wait_log(kMainLog, std::string("[handle_lm_event] Error cmd=") + word + "\n"))
        << word;
  }
  const std::string log = main_log();
  EXPECT_EQ(count_of(log, "recv(udp:2727)"), 4);
  EXPECT_EQ(count_of(log, "recv(udp:2727) lm data(4096)z:" + std::string(4094, 'y') + "\n"), 1);
  EXPECT_EQ(count_of(log, "recv(udp:2727) lm data(10)nul:\n"), 1);
  EXPECT_EQ(count_of(log, "[handle_tcp_lm_var] recv(tcp:2727) (5)t:a\n"), 1);
  EXPECT_EQ(count_of(log, "recv(tcp:2727) (1023)u:" + std::string(1021, 'y') + "\n"), 1);
  EXPECT_EQ(count_of(log, "recv(tcp:2727)"), 2) << "closing without a byte logs nothing";
}

TEST_F(Variables, CommandsAnswerByUdp) {
  start();
  const struct {
    std::string message;
    std::string answer;
  } cases[] = {
      {"set::A::b:c", ""},
      {"GET_udp::a::127.0.0.1::" + port, "a=b\n"},
      {"get_udp::NOSUCH::::" + port + "x", "NOSUCH=\n"},
      {"get_udp::A::127.0.0.1::0", ""},
      {"renew_udp::127.0.0.1::" + port, "A=b\n_RENEW_NUM=1\n"},
      {"client_list_udp::127.0.0.1::" + port,
       "_CLIENT_LIST=tcp:127.0.0.1:5127;\n_CLIENT_LIST_NUM=1\n "},
      {"client_del_tcp::127.0.0.1::5127", ""},
      {"client_list_udp::127.0.0.1::" + port + "::extra", "_CLIENT_LIST_NUM=0\n "},
      {"client_add_udp::127.0.0.1::" + port, ""},
      {"set::B::", "B=\n"},
      {"client_del_udp::127.0.0.1::" + port, ""},
      {"Help_UDP::127.0.0.1::" + port,
       "_LM_VAR_HELP=e_param_set::key::value;help_udp::ip::port;help_tcp::ip::port;"
       "set::key::value;get_udp::key::ip::port;get_tcp::key::ip::port;renew_udp::ip::port;"
       "renew_tcp::ip::port;client_add_udp::ip::port;client_add_tcp::ip::port;"
       "client_del_udp::ip::port;client_del_tcp::ip::port;client_list_udp::ip::port;"
       "client_list_tcp::ip::port;debug_udp::ip::port;debug_tcp::ip::port;"
       "debug_udp_lm::ip::port;debug_tcp_lm::ip::port;"},
      {"debug_udp_lm::127.0.0.1::" + port, ""},
      {"E_PARAM_SET::x::%41\n", "API Cmd: E_PARAM_SET::x::A"},
      {"debug_udp::127.0.0.1::" + port, ""},
      {"e_param_set::PWR_ON_ST::1", "KOVO event: PowerOn"},
      {"debug_udp::127.0.0.1::0", ""},
      {"e_param_set::MY_IP::1", ""},
  };
  std::string expected;
  for (const auto& c : cases) {
    send_udp(2727, c.message);
    expected += c.answer;
  }
  EXPECT_TRUE(wait_for([&] { return received(udp).size() >= expected.size(); }));
  ASSERT_TRUE(wait_log(kEventLog, "push event: ipAddr\n"));
  EXPECT_EQ(received(udp), expected);
  EXPECT_EQ(count_of(main_log(), "Error cmd"), 0);
  EXPECT_NE(main_log().find("[handle_lm_event] client_add_udp 127.0.0.1:" + port + "\n"),
            std::string::npos);
}

TEST_F(Variables, CommandsAnswerByTcp) {
  start();
  TcpSink reply;
  ASSERT_TRUE(start_tcp_sink(reply, "127.0.0.1", 0, TcpSinkMode::kSilent));
  const std::string target = "127.0.0.1::" + std::to_string(reply.port);
  for (int i = 0; i < 12; ++i) send_tcp(2727, "set::V" + std::to_string(i) + "::" + "x\n");
  ASSERT_TRUE(wait_arrivals(tcp, 12));
  const std::string commands[] = {"get_tcp::v3::" + target,    "renew_tcp::" + target,
                                  "client_add_tcp::" + target, "client_list_tcp::" + target,
                                  "client_del_tcp::" + target, "help_::" + target,
                                  "debug_tcp::" + target};
  for (const std::string& command : commands) send_udp(2727, command);
  ASSERT_TRUE(wait_log(kMainLog, "[handle_lm_event] client_del_tcp 127.0.0.1:"));
  ASSERT_TRUE(wait_arrivals(reply, 8));
  send_tcp(2700, "nobody\n");
  ASSERT_TRUE(wait_arrivals(reply, 9));
  const std::vector<Arrival> got = arrivals(reply);
  EXPECT_EQ(got[0].bytes, "v3=x\n");
  EXPECT_EQ(got[1].bytes, "V0=x\nV1=x\nV2=x\nV3=x\nV4=x\n");
  EXPECT_EQ(got[3].bytes, "V10=x\nV11=x\n");
  EXPECT_EQ(got[4].bytes, "_RENEW_NUM=12\n");
  EXPECT_EQ(got[5].bytes,
            "_CLIENT_LIST=tcp:127.0.0.1:5127;tcp:127.0.0.1:" + std::to_string(reply.port) + ";\n");
  EXPECT_EQ(got[6].bytes, "_CLIENT_LIST_NUM=2\n");
  EXPECT_EQ(got[7].bytes.substr(0, 13), "_LM_VAR_HELP=");
  EXPECT_EQ(got[8].bytes, "KOVO event: nobody");
}

TEST_F(Variables, RefusedCommandsAreLoggedAndNothingElse) {
  start();
  const std::string refused[] = {"get_udp::K::10.0.0.5",
                                 "get_tcp::K::::9000",
                                 "get_tcp::K::10.0.0.5",
                                 "renew_udp::::9000",
                                 "renew_tcp::127.0.0.1::",
                                 "client_add_udp::1.2.3::9000",
                                 "client_add_tcp::127.0.0.1::0",
                                 "client_del_udp::127.0.0.1::x",
                                 "client_list_udp::1.2.3::9",
                                 "client_list_tcp::127.0.0.1::-1",
                                 "nocommand::a::b",
                                 "abc:def",
                                 "e_param_set:DEVICE_NAME::x",
                                 "e_param_sett::a::b",
                                 "e_param_set::A"};
  for (const std::string& message : refused) send_udp(2727, message);
  for (const char* silent : {"DEVICE_NAME=Lobby", "\n\n", "get_tcp::K::127.0.0.1::x"}) {
    send_udp(2727, silent);
  }
  send_udp(2727, "set::END::1");
  ASSERT_TRUE(wait_arrivals(tcp, 1));
  std::string expected;
  for (const std::string& message : refused) {
    expected += "[handle_lm_event] Error cmd=" + message.substr(0, message.find(':')) + "\n";
  }
  EXPECT_EQ(lines_with(main_log(), "[handle_lm_event]"), expected);
  EXPECT_EQ(received(tcp), "END=1\n");
}

TEST_F(Variables, SettingsArePersistentAndRaiseTheirEvents) {
  const char* file_behind_link = "/mnt/persistent/real.txt";
  write_file(file_behind_link, "sysDescr=old\nhostName=x\nportID\nportDescr=a=b");
  chmod(file_behind_link, 0600);
  ASSERT_EQ(symlink(file_behind_link, kSettingsFile), 0);
  start();
  const std::string texts[] = {"sysName=Lobby\nportID=no",
                               "sysName=LOBBY\nPORTID=no\n\n",
                               "sysname=x",
                               "SysName=x",
                               "sysName=",
                               "portDescrX",
                               "sysother=1",
                               "portID=" + std::string(600, 'p')};
  for (const std::string& text : texts) send_udp(2727, text);
  ASSERT_TRUE(wait_log(kEventLog, "push event: portID\n"));
  const std::string id(504, 'p');  // the line is cut at 511 bytes
  ASSERT_TRUE(wait_for([&] {
    return read_file(kSettingsFile) ==
           "portDescr=a=b\nportID=" + id + "\nsysDescr=old\nsysName=Lobby\n";
  }));
  EXPECT_FALSE(file_exists(std::string(file_behind_link) + ".new"));
  struct stat info {};
  ASSERT_EQ(stat(file_behind_link, &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600U);
  EXPECT_EQ(read_file(file_behind_link), read_file(kSettingsFile));
  EXPECT_NE(event_log().find("[kovo_config_set] sysName  => Lobby\nportID=no\npush event: sysName\n"
                             "[kovo_config_set] skip same sysName=LOBBY\nPORTID=no\n"
                             "[kovo_config_set] portID  => p"),
            std::string::npos);
  EXPECT_EQ(count_of(main_log(), "[kovo_config_set] no value, skip set sysName\n"), 1);

  send_udp(2728, "SYSname=hall");  // known in this letter case only
  send_udp(2728, "sysDescr=Rack: 4");
  ASSERT_TRUE(wait_log(kEventLog,
                       "get udp:2728 event sysDescr=Rack: 4\n[kovo_config_set] sysDescr "
                       "old => Rack: 4\npush event: sysDescr\n"));
  ASSERT_TRUE(wait_log(kMainLog,
                       "[handle_vep_api] get vep_api event sysDescr\n[kovo_config_set] no "
                       "value, skip set sysDescr\n"));
  stop_daemon(daemon);
  start();
  send_tcp(2727, "sysDescr=rack: 4\n");
  ASSERT_TRUE(wait_log(kEventLog, "[kovo_config_set] skip same sysDescr=rack: 4\n"));

  const std::string before = read_file(kSettingsFile);
  ASSERT_EQ(mount("tmpfs", "/mnt/persistent", "tmpfs", 0, "size=4k"), 0);
  write_file(kSettingsFile, before);  // the one page there is: nothing fits beside it
  send_udp(2727, "sysName=Full");
  send_udp(2727, "behind:");  // by the same thread, once the setting is done with
  ASSERT_TRUE(wait_log(kMainLog, "Error cmd=behind\n"));
  EXPECT_EQ(read_file(kSettingsFile), before) << "a full medium keeps the last good settings";
  ASSERT_EQ(mount("tmpfs", "/mnt/persistent", "tmpfs", MS_REMOUNT, "size=64k"), 0);
  send_udp(2727, "sysName=full");
  EXPECT_TRUE(wait_for([] {
    return read_file(kSettingsFile).find("sysName=Full\n") != std::string::npos;
  })) << "an equal line writes what the file lacks";
}

TEST_F(Variables, TheSnapshotIsLoadedOnceBehindLiveValues) {
  start();
  send_udp(2727, "set::LIVE::now");
  ASSERT_TRUE(wait_arrivals(tcp, 1));
  write_file("/var/lm_var", "LIVE=old\na=\n=5\nab\nx=y=z\ntmp=1\n" + std::string(3000, 'k') +
                                "\nlong=" + std::string(3000, 'v') + "\nWPA_EAP_MODE=off\nlast=1");
  const auto get = [&](const std::string& name) {
    const std::size_t before = arrivals(udp).size();
    send_udp(2727, "get_udp::" + name + "::::" + port);
    EXPECT_TRUE(wait_arrivals(udp, before + 1));
    return received(udp, before);
  };
  ASSERT_TRUE(wait_for([&] { return get("last") == "last=1\n"; }));
  EXPECT_EQ(get("LIVE"), "LIVE=now\n");
  EXPECT_EQ(get("X"), "X=y=z\n");
  EXPECT_EQ(get("tmp"), "tmp=\n");
  EXPECT_EQ(get("long"), "long=" + std::string(2041, 'v') + "\n");
  send_udp(2727, "e_param_set::WPA_EAP_MODE::PEAP");
  ASSERT_TRUE(wait_log(kEventLog,
                       "p8021enable\npush event: p8021enable\np8021status\npush event: "
                       "p8021status\n"));
  int rebuilds = 1;
  const auto pass_by = [&] {  // the snapshot is looked at between two readings of the definitions
    for (int i = 0; i < 2; ++i) {
      write_file(kDefinitions, "");
      ASSERT_TRUE(wait_log(kMainLog, "rebuild kovo event txt: OK\n", ++rebuilds));
    }
  };
  pass_by();
  write_file("/var/lm_var", "last=2\n");
  pass_by();
  EXPECT_EQ(get("last"), "last=1\n") << "later changes only count as seen";
}

TEST(TimingOfStore, TenThousandVariablesAreLoadedAndFoundQuickly) {
  const auto load = [](int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += "VARIABLE_" + std::to_string(i) + "=x\n";
    write_file("/var/lm_var", text);
    CentralState state;
    VariableRegistry registry;
    const MutexLock held(registry.notify_lock);  // as during a send to a dead client
    const auto begin = Clock::now();
    lm_load_snapshot(registry, state);
    const auto loaded = Clock::now() - begin;
    EXPECT_EQ(lm_get(registry, "variable_" + std::to_string(count - 1)), "x");
    return std::chrono::duration_cast<std::chrono::microseconds>(loaded).count();
  };
  load(1000);
  const auto small = load(1000);
  EXPECT_LT(load(10000), 30 * small + 5000) << small;
}

TEST_F(Variables, ABurstOf2000DatagramsIsHandledInOrder) {
  start();
  send_udp(2727, "client_del_tcp::127.0.0.1::5127");
  ASSERT_TRUE(wait_log(kMainLog, "client_del_tcp"));
  for (int i = 0; i < 2000; ++i) {
    std::string message = "set::N" + std::to_string(i) + "::";
    send_udp(2727, message + std::string(100 - message.size(), 'v'));
  }
  ASSERT_TRUE(wait_log(kMainLog, "recv(udp:2727)", 2001, seconds(30)));
  send_udp(2727, "renew_udp::127.0.0.1::" + port);
  ASSERT_TRUE(wait_arrivals(udp, 401, seconds(60)));
  EXPECT_EQ(arrivals(udp)[400].bytes, "_RENEW_NUM=2000\n");
  EXPECT_EQ(arrivals(udp)[399].bytes.substr(0, 6), "N1995=");
}

TEST_F(Variables, DeadClientsDelayOthersButLoseNothing) {
  start();
  UdpSink live[9];
  for (UdpSink& sink : live) {
    ASSERT_TRUE(start_udp_sink(sink, "127.0.0.1", 0));
    send_udp(2727, "client_add_udp::127.0.0.1::" + std::to_string(sink.port));
  }
  send_udp(2727, std::string("client_add_tcp::") + kDeadAddress + "::80");
  for (int refused = 1; refused < 10; ++refused) {
    send_udp(2727, "client_add_tcp::127.0.0.1::" + std::to_string(refused));
  }
  for (int i = 0; i < 3; ++i) send_udp(2727, "e_param_set::MY_IP::" + std::to_string(i));
  ASSERT_TRUE(wait_arrivals(live[8], 1));
  send_udp(2728, "CUR_HDCP=1");
  ASSERT_TRUE(wait_log(kMainLog, "[handle_udp_vep_api] recv(udp:2728)", 1, seconds(1)))
      << "receivers wait for no client";
  for (UdpSink& sink : live) ASSERT_TRUE(wait_arrivals(sink, 4, seconds(20)));
  for (UdpSink& sink : live) {
    // The status intake may come between two changes, but never between two clients of one.
    const std::string text = std::regex_replace(received(sink), std::regex("CUR_HDCP=1\n"), "");
    EXPECT_EQ(text, "MY_IP=0\nMY_IP=1\nMY_IP=2\n");
    EXPECT_EQ(received(sink), received(live[0]));
  }
  ASSERT_TRUE(wait_log(kMainLog,
                       "[tcpclient_no_rcv] Error: connect ip=10.0.0.99, port=80, "
                       "error=(115)Operation now in progress, data=MY_IP=0\n;\n"));
  send_udp(2727, "client_list_udp::127.0.0.1::" + port);
  ASSERT_TRUE(wait_arrivals(udp, 2, seconds(20)));
  EXPECT_EQ(arrivals(udp)[1].bytes, "_CLIENT_LIST_NUM=20\n ");
}

TEST_F(Variables, ADeadMirrorDoesNotStopEvents) {
  UdpSink out;
  ASSERT_TRUE(start_udp_sink(out, "127.0.0.1", 0));
  write_file(kDefinitions, "ACount=1\n" + step("A", 0, "UDP", out.port, "41"));
  start();
  send_udp(2727, std::string("debug_tcp_lm::") + kDeadAddress + "::80");
  send_udp(2727, "e_param_set::MAC::1");
  send_tcp(2700, "A\n");
  EXPECT_TRUE(wait_arrivals(out, 1));
}

TEST_F(Variables, StatusLinesAreMappedAndFiltered) {
  set_param("LIVE_PLAYLIST_CONTENT", "0");
  start();
  const std::string lines[] = {
      "CUR_HDCP=1\n",        "cur_hdcp=1",     "setSettings:ipset=x", "SETSETTINGS:IPSET",
      "nothing=1",           "local:news.m3u", "local:news.m3u",      "LOCAL:b",
      "localstop",           "local",          "webPageDisable=1",    "x",
      std::string(5000, 'z')};
  for (const std::string& line : lines) send_udp(2728, line);
  ASSERT_TRUE(wait_log(kMainLog, "[handle_vep_api] no mapping event zzz"));
  std::string expected =
      "Recv(udp:2728) (10)CUR_HDCP=1\nget vep_api event HDCP1Status\n"
      "Recv(udp:2728) (10)cur_hdcp=1\nskip same event cur_hdcp\n"
      "Recv(udp:2728) (19)setSettings:ipset=x\n"
      "get vep_api event gateway\nget vep_api event ipAddr\nget vep_api event ipMode\n"
      "get vep_api event netmask\nRecv(udp:2728) (17)SETSETTINGS:IPSET\n"
      "skip event gateway, now-last=0 sec\nskip event ipAddr, now-last=0 sec\n"
      "skip event ipMode, now-last=0 sec\nskip event netmask, now-last=0 sec\n"
      "Recv(udp:2728) (9)nothing=1\nno mapping event nothing\n"
      "Recv(udp:2728) (14)local:news.m3u\npush event playMode\npush event localPlay"
      "Recv(udp:2728) (14)local:news.m3u\nRecv(udp:2728) (7)LOCAL:b\n"
      "push event localPlayList\nRecv(udp:2728) (9)localstop\npush event playMode\n"
      "Recv(udp:2728) (5)local\n"
      "Recv(udp:2728) (16)webPageDisable=1\nget vep_api event webEnabled\n"
      "Recv(udp:2728) (511)" +
      std::string(511, 'z') + "\nno mapping event " + std::string(511, 'z') + "\n";
  std::string handled = std::regex_replace(lines_with(main_log(), "[handle_vep_api]"),
                                           std::regex("\\[handle_vep_api\\] "), "");
  handled = std::regex_replace(handled, std::regex("now-last=1 "), "now-last=0 ");
  EXPECT_EQ(handled, expected);
  EXPECT_EQ(received(tcp), "CUR_HDCP=1\n");
  EXPECT_EQ(count_of(event_log(), "push event: playMode\n"), 2);
  EXPECT_EQ(count_of(event_log(), "push event: localPlay\n"), 1);
  EXPECT_EQ(count_of(event_log(), "skip event ipAddr, now-last="), 1);
}

}  // namespace
}  // namespace kovo::device
