#pragma once

namespace quillet::host {

/// Decides whether and as what to act in the process that the library was loaded into, and installs what belongs there:
/// below iOS 7.0 nothing at all; in the music app the sync engine with one re-check; in the downloader app its table;
/// in every process the device's identifier. Called once, on the loading thread, before the process's own start.
void loadTimeDispatch();

}  // namespace quillet::host
