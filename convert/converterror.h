// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

/// The result of a conversion, which leaves CWavConverter as a plain int. The same failure has
/// different codes in different conversions (a `bext` chunk that cannot be written is 6 in the
/// split and 5 in the combine). Kept as it is; pinned by tst_failingmedia.
enum ConvertError : int {
    ConvertOk = 0,
    ConvertNoMemory = 1,
    ConvertFileOpen = 2,
    ConvertFileRead = 3,
    ConvertDataRead = 4,
    ConvertFileWrite = 5,
    ConvertDataWrite = 6,
    ConvertDataCopy = 7,
    ConvertIllegalFormat = 8,
    ConvertFileRestriction = 9,
    ConvertCancelled = 10, ///< by the progress dialog, or the overwrite was declined
};
