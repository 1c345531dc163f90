// The built-in user-interface texts. Numbers 1 and 2 have none.
#include "compat/services/layer/localized_texts.h"

namespace nimboxi {

constexpr std::array<const char*, LOCALIZED_TEXT_COUNT> kBuiltInTexts = {
    "",                                                                                               // 1
    "",                                                                                               // 2
    "OK",                                                                                             // 3
    "Cancel",                                                                                         // 4
    "Abort",                                                                                          // 5
    "Retry",                                                                                          // 6
    "Ignore",                                                                                         // 7
    "Open",                                                                                           // 8
    "Save As",                                                                                        // 9
    "File:",                                                                                          // 10
    "Files",                                                                                          // 11
    "List files of type:",                                                                            // 12
    "Directories",                                                                                    // 13
    "All files",                                                                                      // 14
    "%s_This file does not exist__Create the file?",                                                  // 15
    "%s_File not found._Please verify the correct file name was given.",                              // 16
    "%s already exists._Do you want to replace it?",                                                  // 17
    "%s_Path does not exist._Please verify the correct path was given.",                              // 18
    "Unsupported Color Depth._Please increase X-Server color depth to more than 8 bits/256 colors.",  // 19
    "Initializing Nimbo font cache - please wait.",                                                   // 20
    "Unable to initialize Xft library",                                                               // 21
    "Default Tray",                                                                                   // 22
    "A4",                                                                                             // 23
    "Letter",                                                                                         // 24
    "Tabloid",                                                                                        // 25
    "Ledger",                                                                                         // 26
    "Legal",                                                                                          // 27
    "Statement",                                                                                      // 28
    "Executive",                                                                                      // 29
    "A3",                                                                                             // 30
    "A5",                                                                                             // 31
    "B4",                                                                                             // 32
    "B5",                                                                                             // 33
    "Folio",                                                                                          // 34
    "Quarto",                                                                                         // 35
    "10 by 14 inch",                                                                                  // 36
    "11 by 17 inch",                                                                                  // 37
    "Note",                                                                                           // 38
    "#9 Envelope",                                                                                    // 39
    "#10 Envelope",                                                                                   // 40
    "#11 Envelope",                                                                                   // 41
    "#12 Envelope",                                                                                   // 42
    "#14 Envelope",                                                                                   // 43
    "C Sheet",                                                                                        // 44
    "D Sheet",                                                                                        // 45
    "E Sheet",                                                                                        // 46
    "DL Envelope",                                                                                    // 47
    "C5 Envelope",                                                                                    // 48
    "C3 Envelope",                                                                                    // 49
    "C4 Envelope",                                                                                    // 50
    "C6 Envelope",                                                                                    // 51
    "C65 Envelope",                                                                                   // 52
    "B4 Envelope",                                                                                    // 53
    "B5 Envelope",                                                                                    // 54
    "B6 Envelope",                                                                                    // 55
    "Italy Envelope",                                                                                 // 56
    "Monarch Envelope",                                                                               // 57
    "6 3/4 Envelope",                                                                                 // 58
    "US Std Fanfold",                                                                                 // 59
    "German Std Fanfold",                                                                             // 60
    "German Legal Fanfold",                                                                           // 61
    "B4 (ISO)",                                                                                       // 62
    "Japanese Postcard",                                                                              // 63
    "9 by 11 inch",                                                                                   // 64
    "10 by 11 inch",                                                                                  // 65
    "15 by 11 inch",                                                                                  // 66
    "Envelope Invite",                                                                                // 67
    "Letter extra",                                                                                   // 68
    "Legal Extra",                                                                                    // 69
    "Tabloid Extra",                                                                                  // 70
    "A4 Extra",                                                                                       // 71
    "Letter Transverse",                                                                              // 72
    "A4 Transverse",                                                                                  // 73
    "Letter Extra Transverse",                                                                        // 74
    "SuperA/A4",                                                                                      // 75
    "SuperB/A3",                                                                                      // 76
    "8.5 by 12.69 inch",                                                                              // 77
    "A4 Plus",                                                                                        // 78
    "A5 Transverse",                                                                                  // 79
    "B5 (JIS) Transverse",                                                                            // 80
    "A3 Extra",                                                                                       // 81
    "A5 Extra",                                                                                       // 82
    "B5 (ISO) Extra",                                                                                 // 83
    "A2",                                                                                             // 84
    "A3 Transverse",                                                                                  // 85
    "Extra Transverse",                                                                               // 86
    "Unknown",                                                                                        // 87
    "A6",                                                                                             // 88
    "DL Envelope Rotated",                                                                            // 89
    "A4 Long",                                                                                        // 90
    "Organizer J",                                                                                    // 91
    "Organizer K",                                                                                    // 92
    "Save",                                                                                           // 93
    "already exists. Do you want to replace it?",                                                     // 94
    "is locked or in use and cannot be deleted",                                                      // 95
    "Error",                                                                                          // 96
    "Open File",                                                                                      // 97
    "Save File",                                                                                      // 98
    "Select Directory",                                                                               // 99
    "Print Setup",                                                                                    // 100
    "Name",                                                                                           // 101
    "Type",                                                                                           // 102
    "Size",                                                                                           // 103
    "Tray",                                                                                           // 104
    "Portrait",                                                                                       // 105
    "Landscape",                                                                                      // 106
    "Properties...",                                                                                  // 107
    "Printer",                                                                                        // 108
    "Paper",                                                                                          // 109
    "Orientation",                                                                                    // 110
    "Properties",                                                                                     // 111
    "Device",                                                                                         // 112
    "Duplex",                                                                                         // 113
    "Scale (%)",                                                                                      // 114
    "Option",                                                                                         // 115
    "Value",                                                                                          // 116
    "Copies",                                                                                         // 117
    "Number of copies",                                                                               // 118
    "All",                                                                                            // 119
    "Pages",                                                                                          // 120
    "Enter page numbers or ranges separated by commas. Example 1-3,5",                                // 121
    "Job Setup",                                                                                      // 122
    "None",                                                                                           // 123
    "Short edge",                                                                                     // 124
    "Long edge",                                                                                      // 125
    "Classified",                                                                                     // 126
    "Confidential",                                                                                   // 127
    "Secret",                                                                                         // 128
    "Standard",                                                                                       // 129
    "Top secret",                                                                                     // 130
    "Unclassified",                                                                                   // 131
    "Before",                                                                                         // 132
    "After",                                                                                          // 133
    "Banners",                                                                                        // 134
    "Restore defaults",                                                                               // 135
};

}  // namespace nimboxi
