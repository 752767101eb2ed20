#include "schemas.goldenjson.hpp"

#include <array>

namespace Schemas
{

namespace
{

// clang-format off
constexpr auto Table = std::to_array<GoldenJson>({
    {"Address", R"({"gateway":"s1","ipv4":"s2","ipv6":"s3"})"},
    {"AggregatePingStatistics",
     R"({"server":"s1","serverType":4,"networkObjectUuid":"s3","testUuid":"s4","pingResults":[{"jitter":1.5}],)"
     R"("utcTime":"s6","address":"s7","interfaceName":"s8","isDefaultGateway":true,"networkPath":{"type":7}})"},
    {"BatteryStatus",
     R"({"acLineStatus":1,"batteryFlag":2,"batteryLifePercent":3,"systemStatusFlag":4,"batteryLifeTime":-5,)"
     R"("batteryFullLifeTime":-6})"},
    {"Bios", R"({"serialNumber":"s1"})"},
    {"ComputerSystem", R"({"isHypervisorPresent":true,"domain":"s2","name":"s3","model":"s4","manufacturer":"s5"})"},
    {"Config.Account", R"({})"},
    {"Config.Account.Agent",
     R"({"targetVersion":"s1","autoUpdatesEnabled":true,"targetVersions":[{"agentClass":1}],)"
     R"("agentCapabilities":[3,0]})"},
    {"Config.Agent", R"({"enabled":true})"},
    {"Config.AgentVersion", R"({"agentClass":1,"product":2,"operatingSystem":2,"version":"s4"})"},
    {"Config.Test", R"({"enabled":true,"priority":-10})"},
    {"ConfigAttachInstance", R"({"uuid":"s1","regex":"s2"})"},
    {"ConfigGet2Request",
     R"({"uuid":"s1","trees":["s2","s2b"],"includeHashes":true,"includeKvPairs":true,"keys":["s5","s5b"],)"
     R"("account":6})"},
    {"Cpu", R"({"coreCount":-1,"logicalProcessorCount":-2,"maxClockSpeed":-3,"name":"s4"})"},
    {"CpuSnapshot", R"({"totalProcessingTimePercent":1.5})"},
    {"CurlTestResult",
     R"({"curlResults":{"timeNamelookup":1.25},"curlUuid":"s2","netobjUuid":"s3","startTime":4,"scheduledTime":5,)"
     R"("version":6,"netobjElement":{"index":1},"utcTime":"s8","networkPath":{"type":7},"target":"s10",)"
     R"("firewallId":"s11","firewallType":"s12","testName":"s13","dnsServers":["s14","s14b"],"targetIp":"s15",)"
     R"("tags":[{"key":"s1"}],"targetDnsResolution":{"domain":"s1"}})"},
    {"CurlTestResult.Element", R"({"index":1,"target":"s2","isDomain":true})"},
    {"CurlTestResult.Tag", R"({"key":"s1","value":"s2"})"},
    {"CurlTranslatedOutput",
     R"({"timeNamelookup":1.25,"timeConnect":2.25,"timeAppconnect":3.25,"timePreTransfer":4.25,)"
     R"("timeStartTransfer":5.25,"totalTime":6.25,"dnsLookupTime":7.25,"tcpHandshakeTime":8.25,)"
     R"("sslHandshakeTime":9.25,"waitTime":10.25,"dataTransferTime":11.25,"timeToFirstByte":12.25,"wireSize":13,)"
     R"("speedDownload":14,"throughput":15,"httpCode":16,"success":true})"},
    {"DnsResolution",
     R"({"domain":"s1","ip":"s2","resolverIp":"s3","resolutionRequired":true,"resolutionTimeUs":"5",)"
     R"("originalResolutionTimeUs":"6","resolvedFromCache":true,"serverReachable":true,"tunnelState":2})"},
    {"ExcludedTest", R"({"uuid":"s1","context":"s3"})"},
    {"InternetConnectivityNotification", R"({"connected":true})"},
    {"LogicalDisk", R"({"driveType":-1,"fileSystem":"s2","freeSpace":"3","name":"s4","size":"5"})"},
    {"LogicalDiskSnapshot",
     R"({"currentDiskQueueLength":-1,"minDiskQueueLength":-2,"avgDiskQueueLength":-3,"maxDiskQueueLength":-4,)"
     R"("freeMegabytes":"5","name":"s6","totalSizeMegabytes":"7","path":"s8"})"},
    {"MemorySnapshot", R"({"memoryLoad":1})"},
    {"MtrTestResult",
     R"({"report":{"mtr":{"src":"s1"}},"startTime":-2,"networkObjectUuid":"s3","mtrConfigUuid":"s4","index":-5,)"
     R"("serverType":4,"utcTime":"s8","norvik":{"tunnelIp":{"gateway":"s1"}},"networkPath":{"type":7},)"
     R"("target":"s11","firewallId":"s12","firewallType":"s13","testName":"s14","dnsServers":["s15","s15b"],)"
     R"("server":"s16","tags":[{"key":"s1"}],"targetIp":"s18","targetDnsResolution":{"domain":"s1"}})"},
    {"MtrTestResult.Hub",
     R"({"count":"s1","host":"s2","address":"s3","domain":"s4","ASN":"s5","mpls":[{"label":-1}],"DS":-7,)"
     R"("LossPct":8.25,"Snt":-9,"Last":10.25,"Avg":11.25,"Best":12.25,"Wrst":13.25,"StDev":14.25,)"
     R"("ISOCountry":"s15"})"},
    {"MtrTestResult.Mpls", R"({"label":-1,"TC":-2,"S":-3,"TTL":-4})"},
    {"MtrTestResult.Mtr",
     R"({"src":"s1","dst":"s2","dstAddress":"s3","tos":"s4","psize":"s5","bitpattern":"s6","tests":"s7",)"
     R"("initialRtt":"s8","options":["s9","s9b"]})"},
    {"MtrTestResult.Norvik", R"({"tunnelIp":{"gateway":"s1"}})"},
    {"MtrTestResult.Report", R"({"mtr":{"src":"s1"},"hubs":[{"count":"s1"}]})"},
    {"MtrTestResult.Tag", R"({"key":"s1","value":"s2"})"},
    {"NetworkInterface",
     R"({"id":"s1","name":"s2","type":"s3","mac":"s4","ipv4":"s5","ipv6":"s6","ipv4DefaultGateway":"s7",)"
     R"("ipv6DefaultGateway":"s8","interfaceType":7,"addressSource":3,"serviceProvider":"s11"})"},
    {"NetworkNode",
     R"({"serviceProvider":"s1","circuitName":"s2","elementName":"s3","siteEndpointName":"s4","spnName":"s5",)"
     R"("circuitId":"s6"})"},
    {"NetworkPath",
     R"({"type":7,"active":true,"pathId":"s3","pathName":"s4","local":{"serviceProvider":"s1"},)"
     R"("remote":{"serviceProvider":"s1"}})"},
    {"Notification", R"({"uuid":"s1","utcTime":"s2","disposition":3,"type":7,"wifiLinkQuality":{"ssid":"s1"}})"},
    {"Notification", R"({"uuid":"s1","utcTime":"s2","disposition":3,"type":7,"wifiSsidChange":{"currentSsid":"s1"}})"},
    {"Notification",
     R"({"uuid":"s1","utcTime":"s2","disposition":3,"type":7,"internetConnectivity":{"connected":true}})"},
    {"Notification", R"({"uuid":"s1","utcTime":"s2","disposition":3,"type":7,"systemCpu":{"usage":1}})"},
    {"Notification", R"({"uuid":"s1","utcTime":"s2","disposition":3,"type":7,"systemMemory":{"usage":1}})"},
    {"Notification",
     R"({"uuid":"s1","utcTime":"s2","disposition":3,"type":7,"systemCpuAndMemory":{"cpu":{"usage":1}}})"},
    {"Notification", R"({"uuid":"s1","utcTime":"s2","disposition":3,"type":7,"wifiConnectivity":{"connected":true}})"},
    {"OperatingSystem", R"({"name":"s1","version":"s2"})"},
    {"PhysicalRamDevice", R"({"capacity":"1","bankLabel":"s2"})"},
    {"PingStatistics",
     R"({"jitter":1.5,"pingsReceived":2,"pingsSent":3,"minRtt":4,"avgRtt":5.5,"maxRtt":6,"periodStartUtc":"s7",)"
     R"("periodTotal":8,"periodAvailable":9,"curlTestsConfigured":true})"},
    {"Poll",
     R"({"utcTime":"s1","version":"s2","uuid":"s3","accountId":-4,"memory":{"minMemoryLoad":1},)"
     R"("cpu":{"minProcessingTimePercent":1.5},"pingTests":[{"server":"s1"}],)"
     R"("mtrTests":[{"report":{"mtr":{"src":"s1"}}}],"curlTests":[{"curlResults":{"timeNamelookup":1.25}}],)"
     R"("wlans":[{"active":true}],"interfaces":[{"id":"s1"}],"logicalDriveStats":[{"currentDiskQueueLength":-1}],)"
     R"("batteryStatus":{"acLineStatus":1},"dataAtUtcTime":"s14","endpointVersion":[{"id":-1}],)"
     R"("operatingSystemVersion":[{"id":-1}],"norvikVersion":[{"id":-1}],"norvikGatewayLocation":[{"id":-1}],)"
     R"("norvikUsername":[{"id":-1}],"norvikTunnelStatus":[{"id":-1}],"norvikConnectedIpv4":[{"id":-1}],)"
     R"("norvikSourceRegion":[{"id":-1}],"excludedTests":[{"uuid":"s1"}],"remoteNetwork":{"siteId":"s1"},)"
     R"("messageUuid":"s26","operatingSystem":2,"agentClass":1,"product":2,"computerName":[{"id":-1}],)"
     R"("totalMemory":"32","accountConfigVersion":"33","instanceConfigVersion":"34","userGroups":{"user":"s1"},)"
     R"("agentCapabilities":[3,0],"notifications":[{"uuid":"s1"}],)"
     R"("highMemoryConsumers":{"processes":[{"command":"s1"}]},)"
     R"("highCpuConsumers":{"processes":[{"command":"s1"}]},"selfServiceConfiguration":{"enabled":true},)"
     R"("selfServiceUserEnabled":true,"ostraAccessAgent":2,"norvikRawUsername":[{"id":-1}],)"
     R"("norvikRawDomain":[{"id":-1}]})"},
    {"PollResponse", R"({"statusCode":-1,"error":"s2","action":"s3","fetchConfig":true})"},
    {"Process", R"({"command":"s1","percentageCpu":2.5,"percentageMemory":3.5})"},
    {"ProcessSnapshot", R"({"processes":[{"command":"s1"}]})"},
    {"Register",
     R"({"version":"s1","subTenantId":"s2","utcTime":"s3","agentUuid":"s4","deviceUuid":"s6","agentClass":1,)"
     R"("siteId":"s8","spnNames":["s9","s9b"],"product":2,"siteName":"s11","norvikUsername":[{"id":-1}],)"
     R"("legacyDeviceUuid":"s13"})"},
    {"RegisterResponse",
     R"({"statusCode":-1,"error":"s2","action":"s3","server":"s4","accountId":5,"agentUuid":"s6",)"
     R"("subTenantId":"s7","spnName":"s8"})"},
    {"RemoteNetwork",
     R"({"siteId":"s1","siteName":"s2","location":"s3","deviceCount":-4,"spnNames":["s5","s5b"],)"
     R"("networkPaths":[{"type":7}],"syntheticTestsPerformedCount":-7,"syntheticTestsExcludedCount":-8,)"
     R"("agentHighAvailabilityState":2})"},
    {"SampledCpuResults",
     R"({"minProcessingTimePercent":1.5,"avgProcessingTimePercent":2.5,"maxProcessingTimePercent":3.5})"},
    {"SampledMemoryResults", R"({"minMemoryLoad":1,"avgMemoryLoad":2,"maxMemoryLoad":3})"},
    {"SelfServiceConfiguration",
     R"({"enabled":true,"users":["s2","s2b"],"groups":["s3","s3b"],"wifiQuality":{"notificationsEnabled":true},)"
     R"("wifiConnection":{"notificationsEnabled":true},"internetConnection":{"notificationsEnabled":true},)"
     R"("cpuUsage":{"notificationsEnabled":true},"memoryUsage":{"notificationsEnabled":true}})"},
    {"SelfServiceConfiguration.InternetConnection",
     R"({"notificationsEnabled":true,"minimumSecondsBetweenNotifications":2,"addresses":["s3","s3b"]})"},
    {"SelfServiceConfiguration.Usage",
     R"({"notificationsEnabled":true,"minimumSecondsBetweenNotifications":2,"highUsageThreshold":3})"},
    {"SelfServiceConfiguration.WifiConnection",
     R"({"notificationsEnabled":true,"minimumSecondsBetweenNotifications":2})"},
    {"SelfServiceConfiguration.WifiQuality",
     R"({"notificationsEnabled":true,"minimumSecondsBetweenNotifications":2,"notificationThreshold":3,)"
     R"("poorQualityThreshold":4,"fairQualityThreshold":5,"goodQualityThreshold":6,"ssidChangeWindowSeconds":7})"},
    {"Startup",
     R"({"utcTime":"s1","version":"s2","uuid":"s3","accountId":-4,"network":{"wlans":[{"active":true}]},)"
     R"("system":{"batteryStatus":{"acLineStatus":1}}})"},
    {"Startup.Hardware", R"({"cpu":[{"coreCount":-1}],"ram":{"totalPhysical":"1"}})"},
    {"Startup.Hardware.Ram", R"({"totalPhysical":"1","modules":[{"capacity":"1"}]})"},
    {"Startup.Network", R"({"wlans":[{"active":true}],"interfaces":[{"id":"s1"}]})"},
    {"Startup.System",
     R"({"batteryStatus":{"acLineStatus":1},"computer":{"isHypervisorPresent":true},"os":{"name":"s1"},)"
     R"("bios":{"serialNumber":"s1"},"logicalDrives":[{"driveType":-1}],"hardware":{"cpu":[{"coreCount":-1}]}})"},
    {"SystemCpuAndMemoryNotification", R"({"cpu":{"usage":1},"memory":{"usage":1}})"},
    {"SystemCpuNotification", R"({"usage":1,"notificationThreshold":2})"},
    {"SystemMemoryNotification", R"({"usage":1,"notificationThreshold":2})"},
    {"TemporalValue", R"({"id":-1,"timestamp":"-2","value":"s3"})"},
    {"UserGroups", R"({"user":"s1","groups":["s2","s2b"],"groupsTimestamp":"3"})"},
    {"UserGroupsRequest", R"({"accountId":-1,"user":"s2"})"},
    {"VelRouter.V4", R"({})"},
    {"VelRouter.V4.Message",
     R"({"seqNum":1,"srcComp":2,"dstComp":3,"flags":4,"status":5,"srcEp":"s6","dstEp":"s7","payload":"AP8=",)"
     R"("cacheSrcEp":9,"cacheDstEp":10,"srcCompUuid":"s11","dstCompUuid":"s12","cacheSrcCompUuid":13,)"
     R"("cacheDstCompUuid":14,"msgId":15,"signature":{"timestamp":"1"},"hasSeparatePayload":true,)"
     R"("broadcastName":"s18"})"},
    {"VelRouter.V4.Signature", R"({"timestamp":"1","fingerprint":"s2","signature":"s3","version":4})"},
    {"WifiConnectivityNotification", R"({"connected":true})"},
    {"WifiLinkQualityNotification", R"({"ssid":"s1","quality":2,"notificationThreshold":3})"},
    {"WifiSsidChangeNotification",
     R"({"currentSsid":"s1","previousSsid":"s2","currentQuality":3,"previousQuality":4,"notificationThreshold":5})"},
    {"WirelessLan",
     R"({"active":true,"ssid":"s2","minRx":3,"rx":4,"maxRx":5,"minTx":6,"tx":7,"maxTx":8,"channel":"s9",)"
     R"("minQuality":10,"quality":11,"maxQuality":12,"bssid":"s13","interfaceId":"s14","phyMode":"s15",)"
     R"("averageRssi":-16,"minRssi":-17,"maxRssi":-18,"averageNoise":-19,"minNoise":-20,"maxNoise":-21,)"
     R"("averageSnr":-22,"minSnr":-23,"maxSnr":-24})"},
});
// clang-format on

} // namespace

std::span<const GoldenJson> AllGoldenJson()
{
    return Table;
}

} // namespace Schemas
