// The exported constant tables of the header parsers.
#include "audioparse/audio_support.h"

// ATSC A/52, table "Sample Rate Codes" (fscod).
const uint32_t CAudioSupport::AC3AudioSampleRates[4] = {48000, 44100, 32000, 0};

// ATSC A/52 Annex E, table "Reduced Sampling Rates" (fscod2).
const uint32_t CAudioSupport::EAC3SecondarySampleRates[4] = {24000, 22050, 16000, 0};

// ATSC A/52, table "Audio Coding Mode" (acmod): full-range channels, 1+1 counts 2.
const uint32_t CAudioSupport::AC3NumChannels[8] = {2, 1, 2, 3, 3, 4, 4, 5};

// ATSC A/52, "Frame Size Code Table": the nominal bit rate of each pair of
// frmsizecod values, in kbit/s.
const uint32_t CAudioSupport::AC3AudioBitrates[19] = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                                      192, 224, 256, 320, 384, 448, 512, 576, 640};

// ETSI TS 102 114, table of the source PCM resolution (PCMR); code 4 is invalid.
const uint32_t CAudioSupport::DTSAudioQuantization[7] = {16, 16, 20, 20, 0, 24, 24};

// ETSI TS 102 114, table of the audio channel arrangement (AMODE): channels.
const uint32_t CAudioSupport::DTSAudioNumChannels[16] = {1, 2, 2, 2, 2, 3, 3, 4, 4, 5, 6, 6, 6, 7, 8, 8};

// ETSI TS 102 114, table of the core audio sampling frequency (SFREQ); 0 is invalid.
const uint32_t CAudioSupport::DTSAudioSampleRates[16] = {0,     8000, 16000, 32000, 0,     0,     11025, 22050,
                                                         44100, 0,    0,     12000, 24000, 48000, 96000, 192000};

// ETSI TS 102 114, table of the RATE parameter against the targeted bit rate;
// 29 to 31 (open, variable, lossless) have no figure.
const uint32_t CAudioSupport::DTSAudioBitrates[32] = {
    32000,   56000,   64000,   96000,   112000,  128000,  192000,  224000,  256000,  320000,  384000,
    448000,  512000,  576000,  640000,  768000,  896000,  1024000, 1152000, 1280000, 1344000, 1408000,
    1411200, 1472000, 1536000, 1920000, 2048000, 3072000, 3840000, 0,       0,       0};

// ISO/IEC 11172-3, 2.4.2.3, bitrate_index in kbit/s; rows by layer code - 1
// (Layer III, Layer II, Layer I).
const uint32_t CAudioSupport::MPEG1AudioBitrates[3][16] = {
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 0},
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, 0},
};

// LPCM quantisation word length codes of the DVD audio pack: 16, 20, 24 bits.
const uint32_t CAudioSupport::LPCMQuantization[4] = {16, 20, 24, 0};

// ISO/IEC 14496-3, table "Sampling Frequency Index"; index 12 (7350 Hz) is
// deliberately given no rate.
const int32_t CAudioSupport::CAAC_Config::SamplingFrequencies[16] = {
    96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000, 0, 0, 0, 0};
