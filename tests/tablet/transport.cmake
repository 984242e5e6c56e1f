# HID transport and discovery against emulated devices through real libusb.
set(_sp_transport_libs tablet emulator)
sp_add_test(NAME tablet_transport_open SOURCES ${CMAKE_CURRENT_LIST_DIR}/transport_open_test.cpp
            LIBS ${_sp_transport_libs} UMOCKDEV TIMEOUT 120)
sp_add_test(NAME tablet_transport_io SOURCES ${CMAKE_CURRENT_LIST_DIR}/transport_io_test.cpp
            LIBS ${_sp_transport_libs} UMOCKDEV TIMEOUT 120)
sp_add_test(NAME tablet_discovery SOURCES ${CMAKE_CURRENT_LIST_DIR}/discovery_test.cpp
            LIBS ${_sp_transport_libs} UMOCKDEV TIMEOUT 120)
