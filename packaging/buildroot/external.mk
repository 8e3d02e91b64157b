include $(sort $(wildcard $(BR2_EXTERNAL_KOVOTCP_PATH)/package/*/*.mk))
