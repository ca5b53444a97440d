// The providers' understanding of the machine's texts, on texts written here.
#include <gtest/gtest.h>
#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <net/if_arp.h>
#include <sys/socket.h>

#include "ravd/providers/deviceinfo.h"
#include "ravd/providers/dns.h"
#include "ravd/providers/facts.h"
#include "ravd/providers/hosts.h"
#include "ravd/providers/interfaces.h"
#include "ravd/providers/processes.h"
#include "ravd/providers/processors.h"
#include "ravd/providers/routes.h"
#include "ravd/providers/system.h"
#include "ravd/providers/time.h"

namespace ravd {
namespace {

using Texts = std::vector<std::string>;

// The fields after the state: ppid to itrealvalue are 4 to 21, then starttime, vsize, rss.
std::string stat_line(const std::string &head) {
    return head + " 1 2 3 4 5 6 7 8 9 10 300 45 13 14 -7 16 17 18 19 18446744073709551615 250 21 22\n";
}

TEST(Processes, StatLine) {
    const auto process = parse_process_stat(stat_line("4711 (ravd) S"));
    ASSERT_TRUE(process);
    EXPECT_EQ(process->pid, 4711);
    EXPECT_EQ(process->command, "ravd");
    EXPECT_EQ(process->state, 'S');
    EXPECT_EQ(process->cpu_ticks, 345);
    EXPECT_EQ(process->priority, -7);
    EXPECT_EQ(process->resident_pages, 250);
}

TEST(Processes, CommandWithBlanksAndBrackets) {
    const auto process = parse_process_stat(stat_line("7 (a) R 1 (b c)) D"));
    ASSERT_TRUE(process);
    EXPECT_EQ(process->command, "a) R 1 (b c)");
    EXPECT_EQ(process->state, 'D');
    EXPECT_EQ(process->cpu_ticks, 345);
}

TEST(Processes, CutStatLinesAreNone) {
    for (const char *text : {"", "7", "7 (a", "7 )a( S 1", "7 (a) S 1 2 3", "x (a) S", "7 (a) Sleeping 1"})
        EXPECT_FALSE(parse_process_stat(text)) << text;
    EXPECT_FALSE(parse_process_stat(stat_line("x (a) S")));
    EXPECT_FALSE(parse_process_stat(stat_line("7 (a) SS")));
}

TEST(Processes, StatesInTheModelsWords) {
    EXPECT_STREQ(process_state('R'), "Running");
    EXPECT_STREQ(process_state('D'), "Uninterruptible");
    EXPECT_STREQ(process_state('t'), "Stopped");
    EXPECT_STREQ(process_state('Z'), "Zombie");
    EXPECT_STREQ(process_state('I'), "Idle");
    EXPECT_STREQ(process_state('?'), "Sleeping");
}

TEST(Processes, CpuTicksLeaveGuestTimesOut) {
    const auto ticks = parse_cpu_ticks("cpu  10 20 30 400 50 6 7 8 1000 1000\ncpu0 1 1 1 1\n");
    ASSERT_TRUE(ticks);
    EXPECT_EQ(ticks->total, 531);
    EXPECT_EQ(ticks->busy, 81);
    EXPECT_FALSE(parse_cpu_ticks("intr 1 2 3 4\n"));
    EXPECT_FALSE(parse_cpu_ticks("cpu 1 2\n"));
    EXPECT_FALSE(parse_cpu_ticks("cpu 1 2 x 4 5\n"));
    EXPECT_FALSE(parse_cpu_ticks(""));
}

TEST(Processes, CpuMeterTellsOfTheTimeBetween) {
    CpuMeter meter;
    EXPECT_EQ(meter.percent({250, 1000}, 100), 25);  // since the start
    EXPECT_EQ(meter.percent({260, 1010}, 100), 25);  // too soon: the same answer
    EXPECT_EQ(meter.percent({350, 1100}, 100), 100);
    EXPECT_EQ(meter.percent({350, 1300}, 100), 0);
    EXPECT_EQ(meter.percent({340, 1200}, 100), 0);  // a counter that went back
}

TEST(Processors, Lists) {
    EXPECT_EQ(parse_cpu_list("0-3,8\n"), (std::vector<int>{0, 1, 2, 3, 8}));
    EXPECT_EQ(parse_cpu_list("0\n"), std::vector<int>{0});
    EXPECT_EQ(parse_cpu_list("1,x,3"), std::vector<int>{1});
    EXPECT_EQ(parse_cpu_list("2-1"), std::vector<int>());
    EXPECT_EQ(parse_cpu_list("-1"), std::vector<int>());
    EXPECT_EQ(parse_cpu_list("0-2147483647").size(), 4096U);
}

TEST(Processors, ArchitecturesInTheModelsWords) {
    EXPECT_STREQ(architecture_name("x86_64"), "x86_64");
    EXPECT_STREQ(architecture_name("i686"), "i386");
    EXPECT_STREQ(architecture_name("armv7l"), "arm");
    EXPECT_STREQ(architecture_name("aarch64"), "aarch64");
    EXPECT_STREQ(architecture_name("ppc64le"), "powerpc");
    EXPECT_STREQ(architecture_name("vax"), "other");
}

TEST(Dns, NameServersInTheirOrder) {
    EXPECT_EQ(parse_name_servers("# nameserver 192.0.2.9\nsearch lan\nnameserver 192.0.2.1\n"
                                 "nameserver\t2001:DB8::0:1\r\nnameserver fe80::1%eth0 \nnameserver 192.0.2.1\n"
                                 "nameserver\nnameserver router.lan\nnameservers 192.0.2.8\nnameserver 192.0.2.2"),
              (Texts{"192.0.2.1", "2001:db8::1", "fe80::1", "192.0.2.2"}));
    EXPECT_EQ(parse_name_servers(""), Texts());
}

TEST(Hosts, NamesFromTheHostTable) {
    const auto names = parse_host_names(
        "127.0.0.1 localhost\n  192.0.2.7\tprinter printer.lan # 192.0.2.8 no\n"
        "#192.0.2.9 hidden\n192.0.2.7 other\nnonsense line\n192.0.2.10\n");
    EXPECT_EQ(names.size(), 2U);
    EXPECT_EQ(names.at("192.0.2.7"), "printer");
}

Neighbour neighbour(int family, const char *mac, const char *address, unsigned state) {
    Neighbour made;
    made.family = family;
    made.mac = mac;
    made.address = address;
    made.state = state;
    return made;
}

TEST(Hosts, OneForEachHardwareAddress) {
    const auto hosts = hosts_of({
        neighbour(AF_INET, "02:00:00:00:00:01", "192.0.2.1", NUD_STALE),
        neighbour(AF_INET, "", "192.0.2.2", NUD_REACHABLE),
        neighbour(AF_INET, "02:00:00:00:00:03", "192.0.2.3", NUD_FAILED),
        neighbour(AF_INET6, "02:00:00:00:00:04", "ff02::1", NUD_NOARP),
        neighbour(AF_INET6, "02:00:00:00:00:01", "fe80::1", NUD_REACHABLE),
        neighbour(AF_INET, "02:00:00:00:00:05", "192.0.2.5", NUD_STALE),
    });
    ASSERT_EQ(hosts.size(), 2U);
    EXPECT_EQ(hosts[0].mac, "02:00:00:00:00:01");
    EXPECT_EQ(hosts[0].ipv4, Texts{"192.0.2.1"});
    EXPECT_EQ(hosts[0].ipv6, Texts{"fe80::1"});
    EXPECT_TRUE(hosts[0].active);
    EXPECT_FALSE(hosts[1].active);
}

TEST(Interfaces, StatusOfLinks) {
    Link link;
    link.oper_state = IF_OPER_UP;
    EXPECT_STREQ(link_status(link), "Down");
    link.flags = IFF_UP | IFF_RUNNING;
    EXPECT_STREQ(link_status(link), "Up");
    link.oper_state = IF_OPER_UNKNOWN;
    EXPECT_STREQ(link_status(link), "Up");
    link.flags = IFF_UP;
    EXPECT_STREQ(link_status(link), "Unknown");
    link.oper_state = IF_OPER_LOWERLAYERDOWN;
    EXPECT_STREQ(link_status(link), "LowerLayerDown");
    link.oper_state = IF_OPER_DOWN;
    EXPECT_STREQ(link_status(link), "Down");
}

TEST(Interfaces, WhatAnEthernetPortIs) {
    Link link;
    link.hardware = ARPHRD_ETHER;
    EXPECT_TRUE(is_ethernet_port(link, false));
    EXPECT_FALSE(is_ethernet_port(link, true));
    link.kind = "veth";
    EXPECT_TRUE(is_ethernet_port(link, false));
    link.kind = "bridge";
    EXPECT_FALSE(is_ethernet_port(link, false));
    link.kind.clear();
    link.hardware = ARPHRD_LOOPBACK;
    EXPECT_FALSE(is_ethernet_port(link, false));
}

TEST(Interfaces, Masks) {
    EXPECT_EQ(mask_text(0), "0.0.0.0");
    EXPECT_EQ(mask_text(8), "255.0.0.0");
    EXPECT_EQ(mask_text(25), "255.255.255.128");
    EXPECT_EQ(mask_text(32), "255.255.255.255");
    EXPECT_EQ(mask_text(255), "255.255.255.255");
}

TEST(Interfaces, WhereAddressesCameFrom) {
    Address address;
    address.text = "192.0.2.1";
    EXPECT_STREQ(ipv4_addressing_type(address), "DHCP");
    address.flags = IFA_F_PERMANENT;
    EXPECT_STREQ(ipv4_addressing_type(address), "Static");
    address.text = "169.254.3.4";
    EXPECT_STREQ(ipv4_addressing_type(address), "AutoIP");
    address.text = "2001:db8::1";
    EXPECT_STREQ(ipv6_origin(address), "Static");
    EXPECT_STREQ(ipv6_status(address), "Preferred");
    address.flags = IFA_F_DEPRECATED;
    EXPECT_STREQ(ipv6_origin(address), "AutoConfigured");
    EXPECT_STREQ(ipv6_status(address), "Deprecated");
    address.flags = IFA_F_TENTATIVE | IFA_F_DADFAILED;
    EXPECT_STREQ(ipv6_status(address), "Duplicate");
    address.text = "::1";
    EXPECT_STREQ(ipv6_origin(address), "WellKnown");
}

TEST(Routes, InTheModelsWords) {
    Route route;
    route.family = AF_INET;
    route.type = RTN_UNICAST;
    route.protocol = RTPROT_KERNEL;
    EXPECT_STREQ(route_type(route), "Normal");
    EXPECT_STREQ(route_origin(route), "Static");
    EXPECT_FALSE(is_static(route));
    route.type = RTN_BLACKHOLE;
    route.protocol = RTPROT_DHCP;
    EXPECT_STREQ(route_type(route), "Blackhole");
    EXPECT_STREQ(route_origin(route), "DHCPv4");
    route.family = AF_INET6;
    route.protocol = RTPROT_RA;
    EXPECT_STREQ(route_origin(route), "RA");
    route.protocol = RTPROT_STATIC;
    EXPECT_TRUE(is_static(route));
}

TEST(DeviceInfo, PlaceholdersAreNoFacts) {
    EXPECT_TRUE(is_placeholder("To be filled by O.E.M."));
    EXPECT_TRUE(is_placeholder("default string"));
    EXPECT_FALSE(is_placeholder("GW-7"));
}

TEST(DeviceInfo, SerialNumberFromTheMachineId) {
    const std::string id = "0123456789abcdef0123456789abcdef";
    const std::string serial = serial_from_machine_id(id + "\n");
    EXPECT_EQ(serial.size(), 19U);
    EXPECT_TRUE(serial.starts_with("RV-"));
    EXPECT_EQ(serial, serial_from_machine_id(id));
    EXPECT_NE(serial, serial_from_machine_id("1123456789abcdef0123456789abcdef"));
    EXPECT_EQ(serial.find("01234567"), serial.npos);
}

TEST(DeviceInfo, OsReleaseFields) {
    const char *text = "PRETTY_NAME=\"Linux \\ 12\"\nID=debian\nVERSION='12'\nEMPTY=\nID_LIKE=x\n";
    EXPECT_EQ(os_release_field(text, "PRETTY_NAME"), "Linux \\ 12");
    EXPECT_EQ(os_release_field(text, "ID"), "debian");
    EXPECT_EQ(os_release_field(text, "VERSION"), "12");
    EXPECT_EQ(os_release_field(text, "EMPTY"), "");
    EXPECT_EQ(os_release_field(text, "NAME"), "");
}

TEST(Time, LocalTextHasItsDistanceFromUtc) {
    tm local = {};
    local.tm_year = 124;
    local.tm_mon = 1;
    local.tm_mday = 29;
    local.tm_hour = 13;
    EXPECT_EQ(local_text(local), "2024-02-29T13:00:00Z");
    local.tm_gmtoff = 3600;
    EXPECT_EQ(local_text(local), "2024-02-29T13:00:00+01:00");
    local.tm_gmtoff = -12600;
    EXPECT_EQ(local_text(local), "2024-02-29T13:00:00-03:30");
}

TEST(Time, ZoneRuleIsTheLastLine) {
    EXPECT_EQ(zone_rule("TZif2...\nTZif2...\nCET-1CEST,M3.5.0,M10.5.0/3\n"), "CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(zone_rule("TZif2...\n\n"), "");
    EXPECT_EQ(zone_rule("TZif2"), "");
    EXPECT_EQ(zone_rule("CET\nCET\n"), "");
    EXPECT_EQ(zone_rule(""), "");
}

TEST(System, LinesOfTheKernel) {
    EXPECT_EQ(boot_second("cpu 1 2\nbtime 1700000000\nprocesses 4\n"), 1700000000);
    EXPECT_EQ(boot_second("cpu 1 2\n"), std::nullopt);
    EXPECT_EQ(boot_second("btime soon\n"), std::nullopt);
    EXPECT_EQ(umask_of("Name:\tcat\nUmask:\t0027\n"), 027);
    EXPECT_EQ(umask_of("Umask:\t0088\n"), std::nullopt);
}

TEST(Facts, TextsAreCleanedTrimmedAndCut) {
    EXPECT_EQ(std::get<std::string>(text_value("  a\x1b[31m b\xff \n", 64)), "a[31m b");
    EXPECT_EQ(std::get<std::string>(text_value(std::string_view("model\0", 6), 64)), "model");
    EXPECT_EQ(std::get<std::string>(text_value("\xc3\xa4\xc3\xb6\xc3\xbc", 2)), "\xc3\xa4\xc3\xb6");
    EXPECT_TRUE(std::holds_alternative<std::monostate>(text_value(" \n", 64)));
}

TEST(Facts, CountersStayInTheirTypes) {
    EXPECT_EQ(std::get<int64_t>(short_counter(0x100000002)), 2);
    EXPECT_EQ(std::get<int64_t>(long_counter(UINT64_MAX)), INT64_MAX);
}

TEST(Facts, Moments) {
    EXPECT_EQ(utc_text(0), "1970-01-01T00:00:00Z");
    EXPECT_EQ(utc_text(951782400), "2000-02-29T00:00:00Z");
}

TEST(Facts, WordsAndTheStopsAfterThem) {
    std::string_view text = "a,b;;c";
    EXPECT_EQ(next_word(text, ",;"), "a");
    EXPECT_EQ(next_word(text, ",;"), "b");
    EXPECT_EQ(next_word(text, ",;"), "c");
    EXPECT_EQ(next_word(text, ",;"), "");
}

}  // namespace
}  // namespace ravd
