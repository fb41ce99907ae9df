/// What the scan needs of the transport-stream filter, which stands above it.
#pragma once

/// \return true when the process has a filter
bool ScanFilterExists();

/// Stops the filter with all streams, and with `enter` true starts it afresh with the PAT version forgotten.
/// Without a filter it does nothing.
void EnterFilterScanMode(bool enter);
