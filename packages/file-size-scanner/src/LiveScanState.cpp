#include "FileSizeScanner/LiveScanState.h"

LiveScanState::LiveScanState()
    : scanResult_(std::make_unique<sg_scan_result_t>())
    , cancelFlag_(std::make_unique<int32_t>(0))
{
}

LiveScanState::~LiveScanState()
{
    sg_scan_result_free(scanResult_.get());
}

void LiveScanState::releaseNodes()
{
    sg_scan_result_free(scanResult_.get());
}
