# Runs Buildroot's steps for a CMake package with this recipe and the compiler of this system:
#   make -f packaging/check/buildroot.mk TARGET_DIR=... BUILD_DIR=... BR2_INIT_BUSYBOX=y
BR2_EXTERNAL_KOVOTCP_PATH = $(CURDIR)/packaging/buildroot
comma = ,
qstrip = $(strip $(subst ",,$(1)))

define cmake-package
all:
	test -f $$(KOVOTCP_SITE)/$$(KOVOTCP_LICENSE_FILES) && test "$$(KOVOTCP_VERSION)"
	cmake -S $$(KOVOTCP_SITE) -B $$(BUILD_DIR)/kovotcp -DCMAKE_INSTALL_PREFIX=/usr \
		-DCMAKE_BUILD_TYPE=Release $$(KOVOTCP_CONF_OPTS)
	cmake --build $$(BUILD_DIR)/kovotcp --parallel
	DESTDIR=$$(TARGET_DIR) cmake --install $$(BUILD_DIR)/kovotcp
endef

include $(BR2_EXTERNAL_KOVOTCP_PATH)/external.mk
