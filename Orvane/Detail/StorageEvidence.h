#pragma once

#include <string>
#include <vector>

#include "Platform/Foundation/Values/NSURL.h"

// Why a folder is not plainly local: more than NSFileManager::zuIsManagedBy answers, with the reasons, for
// people to read.
namespace orv::detail {

struct StorageEvidence {
  std::string service;  // "Dropbox", "Nextcloud", "rclone", ...
  std::string reason;   // "/home/ada/Sync/.stfolder is there"
};

// All that is found for a folder, or the folder of a file, and the folders above it; the services that
// zuIsManagedBy knows come first. Empty for plain local storage and for what is not a file URL. Several
// questions to the disk.
ORV_EXPORT std::vector<StorageEvidence> storageEvidenceFor(const NSURL& url);

// The same for the mount of a folder alone: network file systems, rclone, GVfs, removable volumes.
ORV_EXPORT std::vector<StorageEvidence> evidenceOfMount(const std::string& type, const std::string& source,
                                                        const std::string& point, bool isRemovable);

}  // namespace orv::detail
