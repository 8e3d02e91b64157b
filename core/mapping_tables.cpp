#include "core/mapping_tables.h"

#include <iterator>

#include "core/product_ids.h"
#include "core/text.h"

namespace kovo {
namespace {

constexpr Variant kVariants[] = {Variant::kInputHdmi, Variant::kInputHdmi, Variant::kOutput,
                                 Variant::kInputUsbc, Variant::kInputUsbc, Variant::kOutput,
                                 Variant::kOutput};
static_assert(std::size(kProductIds) == std::size(kVariants));

struct RowText {
  const char* variable;
  const char* status;
  const char* setting;
};

// Of several rows of a variable, only the first is found. A status line counts for all of its rows.
constexpr RowText kCommonRows[] = {
    {"MAIN_SAMPLE_RATE", "audioSamples", ""},
    {"PWR_ON_ST", "PowerOn", ""},
    {"A_TYPE", "audioSource", "setSettings:hdmiAudio"},
    {"LDAP_BASE_DN", "chassisID", "chassisID"},
    {"DISCOVERY_INR", "discoveryIntervalSec", "setSettings:discoveryIntervalSec"},
    {"", "edidData", "setSettings:resetEdid"},
    {"", "edidRead", "setSettings:readlocaledid"},
    {"DISCOVERY_INR_TRANS", "enableDiscoveryPackets", "setSettings:enableDiscoveryPackets"},
    {"EN_HTTPS", "forceHTTPS", "forceHTTPS"},
    {"GATEWAYIP", "gateway", "setSettings:ipset"},
    {"ENABLE_ARP", "gratArp", "setSettings:gratuitousARP"},
    {"", "gratArpInt", "setSettings:gratuitousARPInterval"},
    {"MY_IP", "ipAddr", "setSettings:ipset"},
    {"IP_MODE", "ipMode", "setSettings:ipset"},
    {"NO_KMOIP", "kvmEnable", "setSettings:kvmEnable"},
    {"PLAYLIST_REFRESH_DATE", "localPlayList", "local:x"},
    {"LOW_POWER_MODE", "lowPowerMode", "setSettings:lowPowerMode"},
    {"SERIAL_SRC_IP", "masterSerialIPAddr", "setSettings:mainSerialIP"},
    {"SOIP_GUEST_ON", "masterSerialMode", "setSettings:mainSerialMode"},
    {"LAN_P0_MUL", "mediaPort0", "setSettings:mediaPort0"},
    {"LAN_P1_MUL", "mediaPort1", "setSettings:mediaPort1"},
    {"MAIN_TX_ENABLE", "modeOff", "txenable"},
    {"TX_A_MUTE", "mute", "mute"},
    {"DEVICE_NAME", "name", "setSettings:name"},
    {"NETMASK", "netmask", "setSettings:ipset"},
    {"LAN_P0_STATUS", "P0State", "P0State"},
    {"LAN_P1_STATUS", "P1State", "P1State"},
    {"DSCP", "pktDSCP", "pktDSCP"},
    {"PORT_50001_IP", "port5001SourceIP", "port5001SourceIP"},
    {"PORT_50002_IP", "port5002SourceIP", "port5002SourceIP"},
    {"", "portDescr", "portDescr"},
    {"", "portID", "portID"},
    {"", "portShutdown1", "setSettings:shutdownPort1"},
    {"ENABLE_SEC_PORT_ONLY", "securePortOnly", "securePortsOnly"},
    {"S0_BAUDRATE", "serialBaud", ""},
    {"SET_LOCK", "settingsLock", "settingslock"},
    {"ENABLE_SNMP", "snmpEnable", "setSettings:snmpEnable"},
    {"CH_SELECT", "stream", "setSettings:setStream"},
    {"", "sysDescr", "sysDescr"},
    {"", "sysName", "sysName"},
    {"NO_USB", "usbEnable", "setSettings:usbEnable"},
    {"HDMI_A_OUT_TYPE", "useHDMIAudio", "setSettings:hdmiAudio"},
    {"MWC_MULTI_ADDR", "userMCIP", "setSettings:userMCIPAddr"},
    {"MWC_MULTI_ADDR_OVERRIDE", "userMCMode", "setSettings:enableUserMCIP"},
    {"CH_SELECT_V", "videoMulticastAddr", "setSettings:setStream"},
    {"VIDEO_MUTE", "videoMute", "vmute"},
    {"V_INPUT_TYPE", "videoSource", "vidsrc"},
    {"V_STREAM_STATUS", "videoSourceStatus", "videoSourceStatus"},
    {"DISABLE_WEB", "webEnabled", "webPageEnable"},
    {"DISABLE_WEB", "webEnabled#", "webPageDisable"},
    {"", "YUVOutputPassThru", "setSettings:PTyuvOut"},
    {"", "YCbCrOutput", "setSettings:yuvout"},
    {"V_OUT_YUV", "YUVOutputStatus", "YUVOutputStatus"},
};

constexpr RowText kTwoHdmiRows[] = {
    {"HDMI_IN_STATUS", "HDMI1Status", ""},      {"HDMI_IN_RES", "HDMI1Resolution", ""},
    {"CUR_HDCP", "HDCP1Status", "CUR_HDCP"},    {"HDMI_IN2_STATUS", "HDMI2Status", ""},
    {"HDMI_IN2_RES", "HDMI2Resolution", ""},    {"HDMI2_CUR_HDCP", "HDCP2Status", "HDMI2_CUR_HDCP"},
    {"ENABLE_V_OUT", "HDMIStatusPassThru", ""},
};

constexpr RowText kUsbcRows[] = {
    {"HDMI_IN_STATUS", "HDMIStatus", ""},   {"HDMI_IN_RES", "HDMIResolution", ""},
    {"USBC_IN_STATUS", "USBCStatus", ""},   {"USBC_IN_RES", "USBCResolution", ""},
    {"CUR_HDCP", "HDCPStatus", "CUR_HDCP"},
};

constexpr RowText kOutputRows[] = {
    {"HDMI_OUT_STATUS", "HDMIOutStatus", ""},
    {"V_OUTPUT_TIMING_CONVERT", "HDMIOutResolution", ""},
    {"CUR_HDCP", "HDCPOutStatus", "CUR_HDCP"},
    {"A_OUTPUT_DELAY", "outAudioDelay", "setSettings:outAudioDelay"},
};

constexpr RowText kClosingRows[] = {
    {"CH_SELECT", "audioMulticastAddr", "seta"},
    {"", "PowerOn", ""},
    {"", "DVIConnected", ""},
    {"", "DVIDisconnected", ""},
};

constexpr ResolutionEntry resolution_table[] = {
    {0, "0"},     {1, "0020"},  {2, "001F"},  {3, "0010"},  {4, "401D"},  {5, "4032"},
    {6, "005E"},  {7, "005F"},  {8, "0060"},  {9, "0061"},  {10, "40A5"}, {11, "4053"},
    {12, "0013"}, {13, "0004"}, {14, "4021"}, {15, "4048"}, {0, "0000"},
};

template <std::size_t Size>
void add_rows(MappingTable& table, const RowText (&rows)[Size]) {
  for (const RowText& row : rows) table.push_back({row.variable, row.status, row.setting});
}

}  // namespace

Variant variant_of(std::string_view pid) {
  for (std::size_t id = 0; id < std::size(kVariants); ++id) {
    if (equals_nocase(pid, kProductIds[id])) return kVariants[id];
  }
  return Variant::kInputHdmi;
}

MappingTable mapping_rows(Variant variant) {
  MappingTable table;
  add_rows(table, kCommonRows);
  switch (variant) {
    case Variant::kInputHdmi:
      add_rows(table, kTwoHdmiRows);
      break;
    case Variant::kInputUsbc:
      add_rows(table, kUsbcRows);
      break;
    case Variant::kOutput:
      add_rows(table, kOutputRows);
      break;
  }
  add_rows(table, kClosingRows);
  return table;
}

MappingRow* find_row(MappingTable& table, RowName column, std::string_view name) {
  for (MappingRow& row : table) {
    if (!name.empty() && equals_nocase(row.*column, name)) return &row;
  }
  return nullptr;
}

const ResolutionEntry* find_resolution(std::string_view code) {
  for (const ResolutionEntry& entry : resolution_table) {
    if (equals_nocase(entry.code, code)) return &entry;
  }
  return nullptr;
}

}  // namespace kovo
