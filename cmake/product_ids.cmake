# The seven product ids of the device family, in this order: HDMI inputs (two ids), HDMI output,
# HDMI and USB-C inputs (two ids), output of the USB-C family (two ids).
set(KOVO_PRODUCT_IDS
  KV-IN-HDMI-1,KV-IN-HDMI-2,KV-OUT-HDMI-1,KV-IN-USBC-1,KV-IN-USBC-2,KV-OUT-USBC-1,KV-OUT-USBC-2
  CACHE STRING "Seven product ids, separated by commas")

# An empty id would match a device without one, and of two equal ids the second would never match.
if(NOT KOVO_PRODUCT_IDS MATCHES "^[^,;\"\\]+(,[^,;\"\\]+)*$")
  message(FATAL_ERROR "KOVO_PRODUCT_IDS: ids must not be empty or contain ; \" or \\")
endif()
string(TOLOWER "${KOVO_PRODUCT_IDS}" ids)  # the daemon compares them case-insensitively
string(REPLACE "," ";" ids "${ids}")
list(REMOVE_DUPLICATES ids)
list(LENGTH ids count)
if(NOT count EQUAL 7)
  message(FATAL_ERROR "KOVO_PRODUCT_IDS: seven different ids are required, not ${count}")
endif()

string(REPLACE "," "\", \"" ids "${KOVO_PRODUCT_IDS}")
set(KOVO_GENERATED ${PROJECT_BINARY_DIR}/generated)
file(CONFIGURE OUTPUT ${KOVO_GENERATED}/core/product_ids.h @ONLY CONTENT
  "// Generated from KOVO_PRODUCT_IDS.\nconstexpr const char* kProductIds[] = {\"@ids@\"};\n")
