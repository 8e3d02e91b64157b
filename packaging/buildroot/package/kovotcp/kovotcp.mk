################################################################################
#
# kovotcp
#
################################################################################

# The sources around this tree, whose project line has the version.
KOVOTCP_SITE = $(BR2_EXTERNAL_KOVOTCP_PATH)/../..
KOVOTCP_VERSION := $(shell sed -n 's/^project.kovotcp VERSION \([0-9.]*\) .*/\1/p' $(KOVOTCP_SITE)/CMakeLists.txt)
KOVOTCP_SITE_METHOD = local
KOVOTCP_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS = --exclude /build
KOVOTCP_LICENSE = LicenseRef-COPYING
KOVOTCP_LICENSE_FILES = COPYING
KOVOTCP_REDISTRIBUTE = NO
KOVOTCP_CPE_ID_VENDOR = kovotcp
KOVOTCP_CONF_OPTS = -DCMAKE_BUILD_TYPE=MinSizeRel -DKOVO_LTO=ON -DKOVO_TESTS=OFF

KOVOTCP_PRODUCT_IDS = $(call qstrip,$(BR2_PACKAGE_KOVOTCP_PRODUCT_IDS))
ifneq ($(KOVOTCP_PRODUCT_IDS),)
KOVOTCP_CONF_OPTS += -DKOVO_PRODUCT_IDS='$(KOVOTCP_PRODUCT_IDS)'
endif

# After S40network.
ifeq ($(BR2_INIT_BUSYBOX)$(BR2_INIT_SYSV),y)
KOVOTCP_CONF_OPTS += -DKOVO_INIT_SCRIPT=init.d/S60kovotcp
else
KOVOTCP_CONF_OPTS += -DKOVO_INIT_SCRIPT=
endif
ifeq ($(BR2_INIT_SYSTEMD),y)
KOVOTCP_CONF_OPTS += -DKOVO_UNIT_DIR=/usr/lib/systemd/system -DKOVO_TMPFILES_DIR=/usr/lib/tmpfiles.d
else
KOVOTCP_CONF_OPTS += -DKOVO_UNIT_DIR= -DKOVO_TMPFILES_DIR=
endif

$(eval $(cmake-package))
