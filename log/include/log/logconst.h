// Fixed names and limits of the two logs. Nothing here is configurable.
#pragma once

#define SP_TRACE_LOG_PATH "/tmp/PXSlateProbe.log"
#define SP_TRACE_LOG_LIMIT 4194304
#define SP_TRACE_STAMP_FORMAT "%d%02d%02d-%02d:%02d:%02d "
// The stamp shows UTC+8 whatever the machine's zone.
#define SP_TRACE_UTC_OFFSET 28800
#define SP_QT_LOG_PATH "pxtest.log"
#define SP_QT_LOG_SEPARATOR "\n\r"
