// The rules that turn a DCB into terminal settings and back. They are not the reverse of each other.
#include "compat/core/ports/line_settings.h"

#include <algorithm>
#include <iterator>

#include "nimboxi/errors.h"

namespace nimboxi {
namespace {

struct LineSpeed {
  DWORD baudRate;
  speed_t speed;
};

constexpr LineSpeed kLineSpeeds[] = {
    {110, B110},   {300, B300},     {600, B600},     {1200, B1200},   {2400, B2400},     {4800, B4800},
    {9600, B9600}, {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200}, {230400, B230400},
};

// The field CSIZE counts data bits from 5 up.
constexpr DWORD kLeastByteSize = 5;
constexpr tcflag_t kByteSizeUnit = CS6;
static_assert(CS5 == 0 && CS7 == 2 * kByteSizeUnit && CS8 == 3 * kByteSizeUnit && CSIZE == CS8);

struct ParityFlags {
  tcflag_t control;
  tcflag_t input;
};

// By DCB value, as far as a line can have them: none, odd, even.
constexpr ParityFlags kParityFlags[] = {{0, 0}, {PARENB | PARODD, INPCK}, {PARENB, INPCK}};

constexpr cc_t kDefaultEndOfFile = 4;  // Ctrl-D
constexpr WORD kFlowLimit = 10;        // bytes; the terminal does not tell its own

constexpr DWORD kHardwareFlow =
    DCB_OUT_CTS_FLOW | DCB_OUT_DSR_FLOW | DCB_DTR_CONTROL_ENABLE | DCB_RTS_CONTROL_ENABLE;

template <typename Flags>
void changeFlags(Flags& flags, Flags cleared, Flags set) {
  flags = (flags & ~cleared) | set;
}

void makeRaw(termios& settings) {
  changeFlags<tcflag_t>(settings.c_iflag, BRKINT | ISTRIP | INLCR | IGNCR | ICRNL, IGNBRK);
  changeFlags<tcflag_t>(settings.c_oflag, OPOST, 0);
  changeFlags<tcflag_t>(settings.c_cflag, HUPCL, CLOCAL | CREAD);
  changeFlags<tcflag_t>(settings.c_lflag, ISIG | ICANON | ECHO, NOFLSH);
  settings.c_cc[VINTR] = 0;
  settings.c_cc[VEOF] = kDefaultEndOfFile;
  settings.c_cc[VMIN] = 0;
  static_assert(VSWTC < VSTART && VSTOP < VEOL2 && VEOL2 - VSWTC + 1 == 10);
  std::fill(settings.c_cc + VSWTC, settings.c_cc + VEOL2 + 1, cc_t{0});
}

bool setSpeed(DWORD baudRate, termios& settings) {
  for (const LineSpeed& line : kLineSpeeds) {
    if (line.baudRate == baudRate) return cfsetspeed(&settings, line.speed) == 0;
  }
  return false;
}

bool setByteSize(BYTE byteSize, termios& settings) {
  if (byteSize < kLeastByteSize || byteSize > kLeastByteSize + CSIZE / kByteSizeUnit) return false;
  changeFlags<tcflag_t>(settings.c_cflag, CSIZE, (byteSize - kLeastByteSize) * kByteSizeUnit);
  return true;
}

bool setParity(const DCB& dcb, termios& settings) {
  const bool checked = (dcb.flags & DCB_PARITY) != 0;
  if (checked && dcb.Parity >= std::size(kParityFlags)) return false;
  const ParityFlags parity = checked ? kParityFlags[dcb.Parity] : ParityFlags{0, 0};
  changeFlags<tcflag_t>(settings.c_cflag, PARENB | PARODD | CMSPAR, parity.control);
  // Required(input-check-kept): without fParity the line keeps its input check (INPCK), whatever that was.
  if (checked) changeFlags<tcflag_t>(settings.c_iflag, INPCK, parity.input);
  return true;
}

bool setStopBits(BYTE stopBits, termios& settings) {
  if (stopBits != ONESTOPBIT && stopBits != TWOSTOPBITS) return false;
  changeFlags<tcflag_t>(settings.c_cflag, CSTOPB, stopBits == TWOSTOPBITS ? CSTOPB : 0);
  return true;
}

void setHardwareFlow(DWORD flags, termios& settings) {
  const DWORD dtr = flags & DCB_DTR_CONTROL;
  const DWORD rts = flags & DCB_RTS_CONTROL;
  if ((flags & DCB_OUT_CTS_FLOW) != 0 || dtr == DCB_DTR_CONTROL_ENABLE || rts == DCB_RTS_CONTROL_ENABLE) {
    settings.c_cflag |= CRTSCTS;
  }
  // Required(dtr-disables-flow): a disabled DTR switches hardware flow control off even where fOutxCtsFlow
  // asks for it, and DTR or RTS enabled, which asks for no more than a raised line, switches it on.
  if (dtr == 0) settings.c_cflag &= ~CRTSCTS;
}

void setFlowControl(const DCB& dcb, termios& settings) {
  setHardwareFlow(dcb.flags, settings);
  changeFlags<tcflag_t>(settings.c_iflag, IXON, (dcb.flags & DCB_OUT_X) != 0 ? IXON : 0);
  changeFlags<tcflag_t>(settings.c_iflag, IXOFF, (dcb.flags & DCB_IN_X) != 0 ? IXOFF : 0);
}

// Copies a control character; 0 stands for none and leaves the other side's as it is.
template <typename From, typename To>
void copyCharacter(From from, To& to) {
  if (from != 0) to = static_cast<To>(from);
}

DWORD flagsOf(const termios& settings, DWORD flags) {
  // Required(parity-flag-kept): fParity is lost only for settings without any other control flag. A real line
  // always has one (CREAD, its speed), so the caller sees the fParity that the DCB had before.
  constexpr tcflag_t kParityBits = PARENB | PARODD;
  if ((settings.c_cflag & ~kParityBits) == 0) flags &= ~DCB_PARITY;
  changeFlags(flags, DCB_NULL | DCB_DTR_CONTROL | DCB_RTS_CONTROL, DCB_BINARY);
  if ((settings.c_cflag & CRTSCTS) != 0) flags |= kHardwareFlow;
  // Required(flow-bits-cross): IXON shows as fInX and IXOFF as fOutX, so a caller that sets fOutX alone reads
  // fInX alone back.
  changeFlags(flags, DCB_IN_X, (settings.c_iflag & IXON) != 0 ? DCB_IN_X : 0);
  changeFlags(flags, DCB_OUT_X, (settings.c_iflag & IXOFF) != 0 ? DCB_OUT_X : 0);
  return flags;
}

}  // namespace

int32_t applyDcb(const DCB& dcb, termios& settings) {
  termios changed = settings;
  makeRaw(changed);
  if (!setSpeed(dcb.BaudRate, changed)) return IE_BAUDRATE;
  if (!setByteSize(dcb.ByteSize, changed) || !setParity(dcb, changed) ||
      !setStopBits(dcb.StopBits, changed)) {
    return IE_BYTESIZE;
  }
  setFlowControl(dcb, changed);
  copyCharacter(dcb.XonChar, changed.c_cc[VSTART]);
  copyCharacter(dcb.XoffChar, changed.c_cc[VSTOP]);
  copyCharacter(dcb.EofChar, changed.c_cc[VEOF]);
  settings = changed;
  return ERROR_SUCCESS;
}

void updateDcb(const termios& settings, DCB& dcb) {
  for (const LineSpeed& line : kLineSpeeds) {
    if (line.speed == cfgetospeed(&settings)) dcb.BaudRate = line.baudRate;
  }
  dcb.ByteSize = static_cast<BYTE>(kLeastByteSize + (settings.c_cflag & CSIZE) / kByteSizeUnit);
  dcb.StopBits = (settings.c_cflag & CSTOPB) != 0 ? TWOSTOPBITS : ONESTOPBIT;
  dcb.flags = flagsOf(settings, dcb.flags);
  copyCharacter(settings.c_cc[VSTART], dcb.XonChar);
  copyCharacter(settings.c_cc[VSTOP], dcb.XoffChar);
  copyCharacter(settings.c_cc[VEOF], dcb.EofChar);
  dcb.XonLim = dcb.XoffLim = kFlowLimit;
}

}  // namespace nimboxi
