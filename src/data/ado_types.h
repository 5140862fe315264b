#pragma once
// The numbers of the data-access interface: field type codes, cursor and lock words. They are the
// names and values that callers, the repository and the type catalogue speak of.

namespace vantry {

// Field and parameter type codes.
inline constexpr int adEmpty = 0;
inline constexpr int adSmallInt = 2;
inline constexpr int adInteger = 3;
inline constexpr int adSingle = 4;
inline constexpr int adDouble = 5;
inline constexpr int adCurrency = 6;
inline constexpr int adDate = 7;
inline constexpr int adBSTR = 8;
inline constexpr int adBoolean = 11;
inline constexpr int adVariant = 12;
inline constexpr int adDecimal = 14;
inline constexpr int adTinyInt = 16;
inline constexpr int adUnsignedTinyInt = 17;
inline constexpr int adUnsignedSmallInt = 18;
inline constexpr int adUnsignedInt = 19;
inline constexpr int adBigInt = 20;
inline constexpr int adUnsignedBigInt = 21;
inline constexpr int adGUID = 72;
inline constexpr int adBinary = 128;
inline constexpr int adChar = 129;
inline constexpr int adWChar = 130;
inline constexpr int adNumeric = 131;
inline constexpr int adDBDate = 133;
inline constexpr int adDBTime = 134;
inline constexpr int adDBTimeStamp = 135;
inline constexpr int adVarNumeric = 139;
inline constexpr int adVarChar = 200;
inline constexpr int adLongVarChar = 201;
inline constexpr int adVarWChar = 202;
inline constexpr int adLongVarWChar = 203;
inline constexpr int adVarBinary = 204;
inline constexpr int adLongVarBinary = 205;

// Cursor location, cursor types, lock types, command type, parameter direction.
inline constexpr int adUseServer = 2;
inline constexpr int adUseClient = 3;
inline constexpr int adOpenUnspecified = -1;
inline constexpr int adOpenForwardOnly = 0;
inline constexpr int adOpenKeyset = 1;
inline constexpr int adOpenDynamic = 2;
inline constexpr int adOpenStatic = 3;
inline constexpr int adLockUnspecified = -1;
inline constexpr int adLockReadOnly = 1;
inline constexpr int adLockOptimistic = 3;
inline constexpr int adCmdUnspecified = -1;
inline constexpr int adCmdText = 1;
inline constexpr int adParamInput = 1;

// Precision and NumericScale of a column to which they don't apply.
inline constexpr int kDoesNotApply = 255;

inline constexpr bool IsTextType(int type) {
    return type == adBSTR || type == adChar || type == adWChar || type == adVarChar ||
           type == adLongVarChar || type == adVarWChar || type == adLongVarWChar;
}
inline constexpr bool IsBinaryType(int type) {
    return type == adBinary || type == adVarBinary || type == adLongVarBinary;
}
inline constexpr bool IsDateType(int type) {
    return type == adDate || type == adDBDate || type == adDBTime || type == adDBTimeStamp;
}
// Long text and long binary: columns whose values have no useful upper size.
inline constexpr bool IsLongType(int type) {
    return type == adLongVarChar || type == adLongVarWChar || type == adLongVarBinary;
}
inline constexpr bool IsIntegerType(int type) {
    return type == adSmallInt || type == adInteger ||
           (type >= adTinyInt && type <= adUnsignedBigInt);
}

}  // namespace vantry
