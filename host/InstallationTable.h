#pragma once

/// What is replaced in a host and what is added to it. A class that the host lacks is passed over; the runtime refuses
/// an addition where the class has the method. Nothing is ever taken back.
namespace quillet::host {

/// The downloader app's table, row by row.
void installInDownloader();

/// -[UIDevice uniqueIdentifier], in every host: replaced where the device answers it, added where it does not.
void installIdentifier();

}  // namespace quillet::host
