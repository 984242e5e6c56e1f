# HID transport and discovery against emulated devices through real libusb.
sp_add_test(NAME tablet_transport SOURCES ${CMAKE_CURRENT_LIST_DIR}/transport_test.cpp
            LIBS tablet emulator UMOCKDEV TIMEOUT 120)
sp_add_test(NAME tablet_discovery SOURCES ${CMAKE_CURRENT_LIST_DIR}/discovery_test.cpp
            LIBS tablet emulator UMOCKDEV TIMEOUT 120)
