// What every message and every enum is, in the words of the protocol's tables, against what was compiled.

#include <algorithm>
#include <string>
#include <vector>

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include "schemas.descriptors.hpp"

namespace
{

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using Rows = std::vector<std::string>;

struct Table
{
    std::string name;
    Rows rows;
};

struct File
{
    std::string name;
    std::string package;
    Rows content;
};

// clang-format off

/// Number, name and type of each field.
const std::vector<Table> MessageTables{
    {"Address",
     {"1 gateway string",
      "2 ipv4 string",
      "3 ipv6 string"}},
    {"AggregatePingStatistics",
     {"1 server string",
      "2 server_type ServerType",
      "3 network_object_uuid string",
      "4 test_uuid string",
      "5 ping_results repeated PingStatistics",
      "6 utc_time string",
      "7 address string",
      "8 interface_name string",
      "9 is_default_gateway bool",
      "10 network_path NetworkPath"}},
    {"BatteryStatus",
     {"1 ac_line_status uint32",
      "2 battery_flag uint32",
      "3 battery_life_percent uint32",
      "4 system_status_flag uint32",
      "5 battery_life_time int32",
      "6 battery_full_lifeTime int32"}},
    {"Bios",
     {"1 serial_number string"}},
    {"ComputerSystem",
     {"1 is_hypervisor_present bool",
      "2 domain string",
      "3 name string",
      "4 model string",
      "5 manufacturer string"}},
    {"Config.Account",
     {}},
    {"Config.Account.Agent",
     {"1 target_version string",
      "2 auto_updates_enabled bool",
      "3 target_versions repeated Config.AgentVersion",
      "4 agent_capabilities repeated AgentCapability"}},
    {"Config.Agent",
     {"1 enabled bool"}},
    {"Config.AgentVersion",
     {"1 agent_class AgentClass",
      "2 product Product",
      "3 operating_system AgentOperatingSystem",
      "4 version string"}},
    {"Config.Test",
     {"1 enabled bool",
      "10 priority int32"}},
    {"ConfigAttachInstance",
     {"1 uuid string",
      "2 regex string"}},
    {"ConfigGet2Request",
     {"1 uuid string",
      "2 trees repeated string",
      "3 include_hashes bool",
      "4 include_kv_pairs bool",
      "5 keys repeated string",
      "6 account uint32"}},
    {"Cpu",
     {"1 core_count int32",
      "2 logical_processor_count int32",
      "3 max_clock_speed int32",
      "4 name string"}},
    {"CpuSnapshot",
     {"1 total_processing_time_percent float"}},
    {"CurlTestResult",
     {"1 curl_results CurlTranslatedOutput",
      "2 curl_uuid string",
      "3 netobj_uuid string",
      "4 start_time uint32",
      "5 scheduled_time uint32",
      "6 version uint32",
      "7 netobj_element CurlTestResult.Element",
      "8 utc_time string",
      "9 network_path NetworkPath",
      "10 target string",
      "11 firewall_id string",
      "12 firewall_type string",
      "13 test_name string",
      "14 dns_servers repeated string",
      "15 target_ip string",
      "16 tags repeated CurlTestResult.Tag",
      "17 targetDnsResolution DnsResolution"}},
    {"CurlTestResult.Element",
     {"1 index uint32",
      "2 target string",
      "3 is_domain bool"}},
    {"CurlTestResult.Tag",
     {"1 key string",
      "2 value string"}},
    {"CurlTranslatedOutput",
     {"1 time_namelookup double",
      "2 time_connect double",
      "3 time_appconnect double",
      "4 time_pre_transfer double",
      "5 time_start_transfer double",
      "6 total_time double",
      "7 dns_lookup_time double",
      "8 tcp_handshake_time double",
      "9 ssl_handshake_time double",
      "10 wait_time double",
      "11 data_transfer_time double",
      "12 time_to_first_byte double",
      "13 wire_size uint32",
      "14 speed_download uint32",
      "15 throughput uint32",
      "16 http_code uint32",
      "17 success bool"}},
    {"DnsResolution",
     {"1 domain string",
      "2 ip string",
      "3 resolverIp string",
      "4 resolutionRequired bool",
      "5 resolutionTimeUs uint64",
      "6 originalResolutionTimeUs uint64",
      "7 resolvedFromCache bool",
      "8 serverReachable bool",
      "9 tunnelState TunnelState"}},
    {"ExcludedTest",
     {"1 uuid string",
      "2 reason ExclusionReason",
      "3 context string"}},
    {"InternetConnectivityNotification",
     {"1 connected bool"}},
    {"LogicalDisk",
     {"1 drive_type int32",
      "2 file_system string",
      "3 free_space uint64",
      "4 name string",
      "5 size uint64"}},
    {"LogicalDiskSnapshot",
     {"1 current_disk_queue_length int32",
      "2 min_disk_queue_length int32",
      "3 avg_disk_queue_length int32",
      "4 max_disk_queue_length int32",
      "5 free_megabytes uint64",
      "6 name string",
      "7 total_size_megabytes uint64",
      "8 path string"}},
    {"MemorySnapshot",
     {"1 memory_load uint32"}},
    {"MtrTestResult",
     {"1 report MtrTestResult.Report",
      "2 start_time int32",
      "3 network_object_uuid string",
      "4 mtr_config_uuid string",
      "5 index int32",
      "7 server_type ServerType",
      "8 utc_time string",
      "9 norvik MtrTestResult.Norvik",
      "10 network_path NetworkPath",
      "11 target string",
      "12 firewall_id string",
      "13 firewall_type string",
      "14 test_name string",
      "15 dns_servers repeated string",
      "16 server string",
      "17 tags repeated MtrTestResult.Tag",
      "18 target_ip string",
      "19 targetDnsResolution DnsResolution"}},
    {"MtrTestResult.Hub",
     {"1 count string",
      "2 host string",
      "3 address string",
      "4 domain string",
      "5 ASN string",
      "6 mpls repeated MtrTestResult.Mpls",
      "7 DS int32",
      "8 LossPct double",
      "9 Snt int32",
      "10 Last double",
      "11 Avg double",
      "12 Best double",
      "13 Wrst double",
      "14 StDev double",
      "15 ISOCountry string"}},
    {"MtrTestResult.Mpls",
     {"1 label int32",
      "2 TC int32",
      "3 S int32",
      "4 TTL int32"}},
    {"MtrTestResult.Mtr",
     {"1 src string",
      "2 dst string",
      "3 dstAddress string",
      "4 tos string",
      "5 psize string",
      "6 bitpattern string",
      "7 tests string",
      "8 initialRtt string",
      "9 options repeated string"}},
    {"MtrTestResult.Norvik",
     {"1 tunnel_ip Address"}},
    {"MtrTestResult.Report",
     {"1 mtr MtrTestResult.Mtr",
      "2 hubs repeated MtrTestResult.Hub"}},
    {"MtrTestResult.Tag",
     {"1 key string",
      "2 value string"}},
    {"NetworkInterface",
     {"1 id string",
      "2 name string",
      "3 type string deprecated",
      "4 mac string",
      "5 ipv4 string",
      "6 ipv6 string",
      "7 ipv4_default_gateway string",
      "8 ipv6_default_gateway string",
      "9 interface_type NetworkInterfaceType",
      "10 address_source NetworkAddressSource",
      "11 service_provider string"}},
    {"NetworkNode",
     {"1 service_provider string",
      "2 circuit_name string",
      "3 element_name string",
      "4 site_endpoint_name string",
      "5 spn_name string",
      "6 circuit_id string"}},
    {"NetworkPath",
     {"1 type NetworkPathType",
      "2 active bool",
      "3 path_id string",
      "4 path_name string",
      "5 local NetworkNode",
      "6 remote NetworkNode"}},
    {"Notification",
     {"1 uuid string",
      "2 utc_time string",
      "3 disposition NotificationDisposition",
      "5 type NotificationType",
      "6 wifi_link_quality WifiLinkQualityNotification in notification_details",
      "7 wifi_ssid_change WifiSsidChangeNotification in notification_details",
      "8 internet_connectivity InternetConnectivityNotification in notification_details",
      "9 system_cpu SystemCpuNotification in notification_details",
      "10 system_memory SystemMemoryNotification in notification_details",
      "11 system_cpu_and_memory SystemCpuAndMemoryNotification in notification_details",
      "12 wifi_connectivity WifiConnectivityNotification in notification_details"}},
    {"OperatingSystem",
     {"1 name string",
      "2 version string"}},
    {"PhysicalRamDevice",
     {"1 capacity uint64",
      "2 bank_label string"}},
    {"PingStatistics",
     {"1 jitter float",
      "2 pings_received uint32",
      "3 pings_sent uint32",
      "4 min_rtt uint32",
      "5 avg_rtt float",
      "6 max_rtt uint32",
      "7 period_start_utc string",
      "8 period_total uint32",
      "9 period_available uint32",
      "10 curl_tests_configured bool"}},
    {"Poll",
     {"1 utc_time string",
      "2 version string",
      "3 uuid string",
      "4 account_id int32",
      "5 memory SampledMemoryResults",
      "6 cpu SampledCpuResults",
      "7 pingTests repeated AggregatePingStatistics",
      "8 mtrTests repeated MtrTestResult",
      "9 curlTests repeated CurlTestResult",
      "10 wlans repeated WirelessLan",
      "11 interfaces repeated NetworkInterface",
      "12 logical_drive_stats repeated LogicalDiskSnapshot",
      "13 battery_status BatteryStatus",
      "14 data_at_utc_time string",
      "15 endpoint_version repeated TemporalValue",
      "16 operating_system_version repeated TemporalValue",
      "17 norvik_version repeated TemporalValue",
      "18 norvik_gateway_location repeated TemporalValue",
      "19 norvik_username repeated TemporalValue",
      "20 norvik_tunnel_status repeated TemporalValue",
      "21 norvik_connected_ipv4 repeated TemporalValue",
      "22 norvik_source_region repeated TemporalValue",
      "23 excluded_tests repeated ExcludedTest",
      "25 remote_network RemoteNetwork",
      "26 message_uuid string",
      "28 operating_system AgentOperatingSystem",
      "29 agent_class AgentClass",
      "30 product Product",
      "31 computer_name repeated TemporalValue",
      "32 total_memory uint64",
      "33 account_config_version uint64",
      "34 instance_config_version uint64",
      "35 user_groups UserGroups",
      "36 agent_capabilities repeated AgentCapability",
      "37 notifications repeated Notification",
      "38 high_memory_consumers ProcessSnapshot",
      "39 high_cpu_consumers ProcessSnapshot",
      "40 self_service_configuration SelfServiceConfiguration",
      "41 self_service_user_enabled bool",
      "42 ostra_access_agent OstraAccessAgent",
      "43 norvik_raw_username repeated TemporalValue",
      "44 norvik_raw_domain repeated TemporalValue"}},
    {"PollResponse",
     {"1 status_code int32",
      "2 error string",
      "3 action string",
      "4 fetch_config bool"}},
    {"Process",
     {"1 command string",
      "2 percentage_cpu float",
      "3 percentage_memory float"}},
    {"ProcessSnapshot",
     {"1 processes repeated Process"}},
    {"Register",
     {"1 version string",
      "2 sub_tenant_id string",
      "3 utc_time string",
      "4 agent_uuid string",
      "6 device_uuid string",
      "7 agent_class AgentClass",
      "8 site_id string",
      "9 spn_names repeated string",
      "10 product Product",
      "11 site_name string",
      "12 norvik_username repeated TemporalValue",
      "13 legacy_device_uuid string"}},
    {"RegisterResponse",
     {"1 status_code int32",
      "2 error string",
      "3 action string",
      "4 server string",
      "5 account_id uint32",
      "6 agent_uuid string",
      "7 sub_tenant_id string",
      "8 spn_name string"}},
    {"RemoteNetwork",
     {"1 site_id string",
      "2 site_name string",
      "3 location string",
      "4 device_count int32",
      "5 spn_names repeated string",
      "6 network_paths repeated NetworkPath",
      "7 synthetic_tests_performed_count int32",
      "8 synthetic_tests_excluded_count int32",
      "9 agent_high_availability_state HighAvailabilityState"}},
    {"SampledCpuResults",
     {"1 min_processing_time_percent float",
      "2 avg_processing_time_percent float",
      "3 max_processing_time_percent float"}},
    {"SampledMemoryResults",
     {"1 min_memory_load uint32",
      "2 avg_memory_load uint32",
      "3 max_memory_load uint32"}},
    {"SelfServiceConfiguration",
     {"1 enabled bool",
      "2 users repeated string",
      "3 groups repeated string",
      "4 wifi_quality SelfServiceConfiguration.WifiQuality",
      "5 wifi_connection SelfServiceConfiguration.WifiConnection",
      "6 internet_connection SelfServiceConfiguration.InternetConnection",
      "7 cpu_usage SelfServiceConfiguration.Usage",
      "8 memory_usage SelfServiceConfiguration.Usage"}},
    {"SelfServiceConfiguration.InternetConnection",
     {"1 notifications_enabled bool",
      "2 minimum_seconds_between_notifications uint32",
      "3 addresses repeated string"}},
    {"SelfServiceConfiguration.Usage",
     {"1 notifications_enabled bool",
      "2 minimum_seconds_between_notifications uint32",
      "3 high_usage_threshold uint32"}},
    {"SelfServiceConfiguration.WifiConnection",
     {"1 notifications_enabled bool",
      "2 minimum_seconds_between_notifications uint32"}},
    {"SelfServiceConfiguration.WifiQuality",
     {"1 notifications_enabled bool",
      "2 minimum_seconds_between_notifications uint32",
      "3 notification_threshold uint32",
      "4 poor_quality_threshold uint32",
      "5 fair_quality_threshold uint32",
      "6 good_quality_threshold uint32",
      "7 ssid_change_window_seconds uint32"}},
    {"Startup",
     {"1 utc_time string",
      "2 version string",
      "3 uuid string",
      "4 account_id int32",
      "5 network Startup.Network",
      "6 system Startup.System"}},
    {"Startup.Hardware",
     {"1 cpu repeated Cpu",
      "2 ram Startup.Hardware.Ram"}},
    {"Startup.Hardware.Ram",
     {"1 total_physical uint64",
      "2 modules repeated PhysicalRamDevice"}},
    {"Startup.Network",
     {"1 wlans repeated WirelessLan",
      "2 interfaces repeated NetworkInterface"}},
    {"Startup.System",
     {"1 battery_status BatteryStatus",
      "2 computer ComputerSystem",
      "3 os OperatingSystem",
      "4 bios Bios",
      "5 logical_drives repeated LogicalDisk",
      "6 hardware Startup.Hardware"}},
    {"SystemCpuAndMemoryNotification",
     {"1 cpu SystemCpuNotification",
      "2 memory SystemMemoryNotification"}},
    {"SystemCpuNotification",
     {"1 usage uint32",
      "2 notification_threshold uint32"}},
    {"SystemMemoryNotification",
     {"1 usage uint32",
      "2 notification_threshold uint32"}},
    {"TemporalValue",
     {"1 id int32",
      "2 timestamp int64",
      "3 value string"}},
    {"UserGroups",
     {"1 user string",
      "2 groups repeated string",
      "3 groups_timestamp uint64"}},
    {"UserGroupsRequest",
     {"1 account_id int32",
      "2 user string"}},
    {"VelRouter.V4",
     {}},
    {"VelRouter.V4.Message",
     {"1 seq_num uint32",
      "2 src_comp uint32",
      "3 dst_comp uint32",
      "4 flags uint32",
      "5 status uint32",
      "6 src_ep string",
      "7 dst_ep string",
      "8 payload bytes",
      "9 cache_src_ep uint32",
      "10 cache_dst_ep uint32",
      "11 src_comp_uuid string",
      "12 dst_comp_uuid string",
      "13 cache_src_comp_uuid uint32",
      "14 cache_dst_comp_uuid uint32",
      "15 msg_id uint32",
      "16 signature VelRouter.V4.Signature",
      "17 has_separate_payload bool",
      "18 broadcast_name string"}},
    {"VelRouter.V4.Signature",
     {"1 timestamp uint64",
      "2 fingerprint string",
      "3 signature string",
      "4 version uint32"}},
    {"WifiConnectivityNotification",
     {"1 connected bool"}},
    {"WifiLinkQualityNotification",
     {"1 ssid string",
      "2 quality uint32",
      "3 notification_threshold uint32"}},
    {"WifiSsidChangeNotification",
     {"1 current_ssid string",
      "2 previous_ssid string",
      "3 current_quality uint32",
      "4 previous_quality uint32",
      "5 notification_threshold uint32"}},
    {"WirelessLan",
     {"1 active bool",
      "2 ssid string",
      "3 min_rx uint32",
      "4 rx uint32",
      "5 max_rx uint32",
      "6 min_tx uint32",
      "7 tx uint32",
      "8 max_tx uint32",
      "9 channel string",
      "10 min_quality uint32",
      "11 quality uint32",
      "12 max_quality uint32",
      "13 bssid string",
      "14 interface_id string",
      "15 phy_mode string",
      "16 average_rssi int32",
      "17 min_rssi int32",
      "18 max_rssi int32",
      "19 average_noise int32",
      "20 min_noise int32",
      "21 max_noise int32",
      "22 average_snr int32",
      "23 min_snr int32",
      "24 max_snr int32"}},
};

/// Value and name of each entry.
const std::vector<Table> EnumTables{
    {"AgentCapability",
     {"0 AGENT_CAPABILITY_USER_GROUPS",
      "1 AGENT_CAPABILITY_SIMULATED",
      "2 AGENT_CAPABILITY_SELF_SERVE",
      "3 AGENT_CAPABILITY_ASYNC_POLL_RESULT"}},
    {"AgentClass",
     {"0 MOBILE_USER",
      "1 REMOTE_NETWORK"}},
    {"AgentOperatingSystem",
     {"0 AGENT_OPERATING_SYSTEM_WINDOWS",
      "1 AGENT_OPERATING_SYSTEM_MACOS",
      "2 AGENT_OPERATING_SYSTEM_LINUX"}},
    {"Component",
     {"0 COMPONENT_NONE",
      "6 COMPONENT_CFGMGR",
      "55 COMPONENT_AGENT_CLIENT",
      "103 COMPONENT_AGENT_SERVER"}},
    {"DeliveryStatus",
     {"0 DELIVERY_STATUS_SUCCESS",
      "1 DELIVERY_STATUS_INVALID_PACKET",
      "2 DELIVERY_STATUS_DESTINATION_UNREACHABLE",
      "3 DELIVERY_STATUS_DESTINATION_UNKNOWN",
      "4 DELIVERY_STATUS_TIMEOUT",
      "5 DELIVERY_STATUS_INVALID_MSG_ID",
      "6 DELIVERY_STATUS_PAYLOAD_DECODE_FAILED",
      "7 DELIVERY_STATUS_PROCESSING_FAILED",
      "255 DELIVERY_STATUS_UNSUCCESSFUL"}},
    {"ExclusionReason",
     {"0 INSUFFICIENT_CAPACITY"}},
    {"Flags",
     {"0 FLAGS_NONE",
      "1 FLAGS_ACK",
      "2 FLAGS_COMPRESSED_ZLIB",
      "4 FLAGS_RESPONSE",
      "8 FLAGS_COMPRESSED_LZ4",
      "16 FLAGS_COMPRESSED_LZ4HC",
      "32 FLAGS_PROBE_ORIGIN",
      "64 FLAGS_NO_RESPONSE_EXPECTED",
      "128 FLAGS_SIGNED",
      "256 FLAGS_PROTOBUF_PAYLOAD",
      "512 FLAGS_BROADCAST",
      "1024 FLAGS_ACK_EXPECTED"}},
    {"HighAvailabilityState",
     {"0 HIGH_AVAILABILITY_STATE_UNSPECIFIED",
      "1 HIGH_AVAILABILITY_STATE_ACTIVE",
      "2 HIGH_AVAILABILITY_STATE_BACKUP"}},
    {"Messages.MsgIds",
     {"0 MSGIDS_UNKNOWN",
      "19 MSGIDS_ROUTER_ONLINE_STATUS_CHANGE",
      "22 MSGIDS_ROUTER_FEATURES",
      "89 MSGIDS_ROUTER_REMOTE_SUBSCRIPTIONS",
      "6005 MSGIDS_CONFIG_GET2_REQUEST",
      "6006 MSGIDS_CONFIG_GET2_RESPONSE",
      "6051 MSGIDS_CONFIG_ATTACH_INSTANCE",
      "6054 MSGIDS_CONFIG_ATTACH_RESULT",
      "6056 MSGIDS_CONFIG_CHANGES",
      "24000 MSGIDS_AGENT_REGISTER_REQUEST",
      "24001 MSGIDS_AGENT_STARTUP_REQUEST",
      "24002 MSGIDS_AGENT_POLL_REQUEST",
      "24003 MSGIDS_AGENT_HISTORIC_POLL_REQUEST",
      "24100 MSGIDS_AGENT_REGISTER_RESPONSE",
      "24101 MSGIDS_AGENT_STARTUP_RESPONSE",
      "24102 MSGIDS_AGENT_POLL_RESPONSE",
      "24104 MSGIDS_AGENT_CHECK_FOR_UPDATES_REQUEST",
      "24200 MSGIDS_AGENT_USER_GROUPS_REQUEST",
      "24201 MSGIDS_AGENT_USER_GROUPS_NOTIFICATION"}},
    {"NetworkAddressSource",
     {"0 NETWORK_ADDRESS_SOURCE_UNSPECIFIED",
      "1 NETWORK_ADDRESS_SOURCE_STATIC",
      "2 NETWORK_ADDRESS_SOURCE_DHCP",
      "3 NETWORK_ADDRESS_SOURCE_PPPOE"}},
    {"NetworkInterfaceType",
     {"0 NETWORK_INTERFACE_TYPE_UNSPECIFIED",
      "1 NETWORK_INTERFACE_TYPE_ETHERNET",
      "2 NETWORK_INTERFACE_TYPE_WLAN",
      "3 NETWORK_INTERFACE_TYPE_CONTROLLER",
      "4 NETWORK_INTERFACE_TYPE_WAN",
      "5 NETWORK_INTERFACE_TYPE_LAN",
      "6 NETWORK_INTERFACE_TYPE_PRIVATE_L2_WAN",
      "7 NETWORK_INTERFACE_TYPE_PRIVATE_L2_LAN"}},
    {"NetworkPathType",
     {"0 NETWORK_PATH_TYPE_UNSPECIFIED",
      "1 NETWORK_PATH_TYPE_LAN",
      "2 NETWORK_PATH_TYPE_PUBLIC_DIRECT",
      "3 NETWORK_PATH_TYPE_PRIVATE_DIRECT",
      "4 NETWORK_PATH_TYPE_PUBLIC_VPN",
      "5 NETWORK_PATH_TYPE_PRIVATE_VPN",
      "6 NETWORK_PATH_TYPE_PRIVATE_SERVICE_LINK",
      "7 NETWORK_PATH_TYPE_PUBLIC_SERVICE_LINK"}},
    {"NotificationDisposition",
     {"0 NOTIFICATION_DISPOSITION_UNKNOWN",
      "1 NOTIFICATION_DISPOSITION_ENABLED",
      "2 NOTIFICATION_DISPOSITION_DISABLED",
      "3 NOTIFICATION_DISPOSITION_USER_CLICKED"}},
    {"NotificationType",
     {"0 NOTIFICATION_TYPE_UNKNOWN",
      "1 NOTIFICATION_TYPE_WIFI_SIGNAL_STRENGTH",
      "2 NOTIFICATION_TYPE_WIFI_SSID_CHANGE",
      "3 NOTIFICATION_TYPE_INTERNET_CONNECTIVITY",
      "4 NOTIFICATION_TYPE_SYSTEM_CPU",
      "5 NOTIFICATION_TYPE_SYSTEM_MEMORY",
      "6 NOTIFICATION_TYPE_SYSTEM_CPU_AND_MEMORY",
      "7 NOTIFICATION_TYPE_WIFI_CONNECTIVITY"}},
    {"OstraAccessAgent",
     {"0 OSTRA_ACCESS_AGENT_UNKNOWN",
      "1 OSTRA_ACCESS_AGENT_NORVIK",
      "2 OSTRA_ACCESS_AGENT_ZTNA"}},
    {"Product",
     {"0 DESKTOP",
      "1 EDGEUNIT",
      "2 GATEOS"}},
    {"ServerType",
     {"0 UNKNOWN",
      "1 DEFAULT_GATEWAY",
      "2 VPN_GATEWAY",
      "3 VPN_TUNNEL",
      "4 INTERNET"}},
    {"TunnelState",
     {"0 TUNNEL_STATE_UP",
      "1 TUNNEL_STATE_DOWN",
      "2 TUNNEL_STATE_UNKNOWN"}},
};

/// File, package, and what it holds at its top.
const std::vector<File> Files{
    {"agent_kinds.proto", "", {"AgentCapability", "AgentClass", "AgentOperatingSystem", "Product"}},
    {"comms_protocol.proto", "", {"DeliveryStatus", "Flags"}},
    {"component.proto", "", {"Component"}},
    {"config.proto", "Config", {"Account", "Agent", "AgentVersion", "Test"}},
    {"config_mgr.proto", "", {"ConfigAttachInstance", "ConfigGet2Request"}},
    {"hardware.proto", "",
     {"BatteryStatus", "Bios", "ComputerSystem", "Cpu", "LogicalDisk", "OperatingSystem", "PhysicalRamDevice"}},
    {"msg_ids.proto", "Messages", {"MsgIds"}},
    {"network.proto", "",
     {"Address", "HighAvailabilityState", "NetworkAddressSource", "NetworkInterface", "NetworkInterfaceType",
      "NetworkNode", "NetworkPath", "NetworkPathType", "RemoteNetwork", "WirelessLan"}},
    {"poll.proto", "", {"OstraAccessAgent", "Poll", "PollResponse"}},
    {"register.proto", "", {"Register", "RegisterResponse"}},
    {"samples.proto", "",
     {"CpuSnapshot", "LogicalDiskSnapshot", "MemorySnapshot", "Process", "ProcessSnapshot", "SampledCpuResults",
      "SampledMemoryResults"}},
    {"self_service.proto", "",
     {"InternetConnectivityNotification", "Notification", "NotificationDisposition", "NotificationType",
      "SelfServiceConfiguration", "SystemCpuAndMemoryNotification", "SystemCpuNotification",
      "SystemMemoryNotification", "WifiConnectivityNotification", "WifiLinkQualityNotification",
      "WifiSsidChangeNotification"}},
    {"startup.proto", "", {"Startup"}},
    {"temporal_value.proto", "", {"TemporalValue"}},
    {"test_results.proto", "",
     {"AggregatePingStatistics", "CurlTestResult", "CurlTranslatedOutput", "DnsResolution", "ExcludedTest",
      "ExclusionReason", "MtrTestResult", "PingStatistics", "ServerType", "TunnelState"}},
    {"user_groups.proto", "", {"UserGroups", "UserGroupsRequest"}},
    {"wire_protocol_v4.proto", "VelRouter", {"V4"}},
};

// clang-format on

std::string TypeOf(const FieldDescriptor& field)
{
    switch (field.type())
    {
    case FieldDescriptor::TYPE_MESSAGE:
        return field.message_type()->full_name();
    case FieldDescriptor::TYPE_ENUM:
        return field.enum_type()->full_name();
    default:
        return field.type_name();
    }
}

std::string RowOf(const FieldDescriptor& field)
{
    std::string row = std::to_string(field.number()) + " " + field.name() + " ";
    row += field.is_repeated() ? "repeated " : "";
    row += TypeOf(field);
    row += field.options().deprecated() ? " deprecated" : "";
    if (field.containing_oneof() != nullptr)
    {
        row += " in " + field.containing_oneof()->name();
    }
    return row;
}

Table TableOf(const Descriptor& message)
{
    Table table{message.full_name(), {}};
    for (int i = 0; i < message.field_count(); ++i)
    {
        table.rows.push_back(RowOf(*message.field(i)));
    }
    return table;
}

Table TableOf(const EnumDescriptor& type)
{
    Table table{type.full_name(), {}};
    for (int i = 0; i < type.value_count(); ++i)
    {
        table.rows.push_back(std::to_string(type.value(i)->number()) + " " + type.value(i)->name());
    }
    return table;
}

Rows ContentOf(const FileDescriptor& file)
{
    Rows content;
    for (int i = 0; i < file.message_type_count(); ++i)
    {
        content.push_back(file.message_type(i)->name());
    }
    for (int i = 0; i < file.enum_type_count(); ++i)
    {
        content.push_back(file.enum_type(i)->name());
    }
    std::sort(content.begin(), content.end());
    return content;
}

template <typename Descriptors>
void ExpectTables(const Descriptors& descriptors, const std::vector<Table>& tables)
{
    EXPECT_EQ(descriptors.size(), tables.size());
    for (const auto* descriptor : descriptors)
    {
        SCOPED_TRACE(descriptor->full_name());
        const auto compiled = TableOf(*descriptor);
        const auto table = std::find_if(
            tables.begin(), tables.end(), [&compiled](const Table& each) { return each.name == compiled.name; });
        ASSERT_NE(table, tables.end());
        EXPECT_EQ(compiled.rows, table->rows);
    }
}

const EnumDescriptor& EnumOf(const std::string& name)
{
    return *google::protobuf::DescriptorPool::generated_pool()->FindEnumTypeByName(name);
}

} // namespace

TEST(SchemaDescriptorsTest, EveryMessageHasTheFieldsOfItsTable)
{
    ExpectTables(Schemas::AllMessages(), MessageTables);
}

TEST(SchemaDescriptorsTest, EveryEnumHasTheValuesOfItsTable)
{
    ExpectTables(Schemas::AllEnums(), EnumTables);
}

TEST(SchemaDescriptorsTest, EveryFileHasItsPackageAndItsContent)
{
    const auto files = Schemas::AllFiles();
    EXPECT_EQ(files.size(), Files.size());
    for (const auto* file : files)
    {
        SCOPED_TRACE(file->name());
        const auto expected =
            std::find_if(Files.begin(), Files.end(), [file](const File& each) { return each.name == file->name(); });
        ASSERT_NE(expected, Files.end());
        EXPECT_EQ(file->package(), expected->package);
        EXPECT_EQ(ContentOf(*file), expected->content);
        EXPECT_EQ(file->syntax(), FileDescriptor::SYNTAX_PROTO3);
    }
}

TEST(SchemaDescriptorsTest, NoFieldTellsItsPresenceButMessages)
{
    for (const auto* message : Schemas::AllMessages())
    {
        for (int i = 0; i < message->field_count(); ++i)
        {
            const auto& field = *message->field(i);
            EXPECT_EQ(field.has_presence(), !field.is_repeated() && field.type() == FieldDescriptor::TYPE_MESSAGE)
                << field.full_name();
        }
    }
}

TEST(SchemaDescriptorsTest, TheNumbersBetweenTheFieldsStayFree)
{
    for (const auto* message : Schemas::AllMessages())
    {
        int last = 0;
        for (int i = 0; i < message->field_count(); ++i)
        {
            last = std::max(last, message->field(i)->number());
        }
        for (int number = 1; number < last; ++number)
        {
            EXPECT_TRUE(message->FindFieldByNumber(number) != nullptr || message->IsReservedNumber(number))
                << message->full_name() << " " << number;
        }
    }
}

TEST(SchemaDescriptorsTest, TheNamesWithoutANumberStayFree)
{
    const auto& component = EnumOf("Component");
    EXPECT_EQ(component.value_count() + component.reserved_name_count(), 55);
    EXPECT_TRUE(component.IsReservedName("COMPONENT_ROUTER"));
    EXPECT_TRUE(component.IsReservedName("COMPONENT_UPGRADES"));

    const auto& ids = EnumOf("Messages.MsgIds");
    EXPECT_EQ(ids.value_count() + ids.reserved_name_count(), 199);
    EXPECT_TRUE(ids.IsReservedName("MSGIDS_ROUTER_ANNOUNCEMENT"));
    EXPECT_TRUE(ids.IsReservedName("MSGIDS_TVNFLOW_NORVIKLOG_MAPPINGS"));
}
