# HID transport against an emulated tablet; run under umockdev-wrapper.
sp_add_bench(NAME tablet_transport_bench SOURCES ${CMAKE_CURRENT_LIST_DIR}/transport_bench.cpp
             LIBS tablet emulator)
