// DECIMAL values from their wire bytes to the text the value printer shows:
// lddecimal, then dectoasc into 79 characters, then ldchar.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "values/textforms.h"
#include "values/wire.h"

namespace wp {
namespace {

std::vector<uint8_t> bytes(const std::string& hex) {
  std::vector<uint8_t> b;
  for (size_t i = 0; i + 1 < hex.size(); i += 2)
    b.push_back(std::stoi(hex.substr(i, 2), nullptr, 16));
  return b;
}

std::string zeros(size_t n) {
  return std::string(n, '0');
}

// What the value printer prints for a DECIMAL field of wire length len.
std::string shown(std::vector<uint8_t> wire, int len) {
  wire.resize(wire.size() + 2);  // the NULL test looks at two bytes
  Decimal rec;
  lddecimal(wire.data(), len, &rec);
  char buf[80];
  memset(buf, '#', sizeof buf);
  EXPECT_EQ(dectoasc(&rec, buf, 79, -1), 0);
  EXPECT_EQ(buf[79], '#') << "wrote past the field";
  ldchar(buf, 79, buf);
  return buf;
}

struct DecimalCase {
  const char* what;
  std::string hex;
  std::string text;
};

TEST(Decimal, WireBytesToText) {
  const DecimalCase cases[] = {
      {"two digits after the point", "c10c22", "12.34"},
      {"trailing zero digit is kept", "c10c1e", "12.30"},
      {"trailing zero byte adds scale", "c10c1e00", "12.3000"},
      {"one digit and a zero byte", "c10500", "5.00"},
      {"exponent beyond the digits", "c20c", "1200"},
      {"leading zero byte moves the exponent", "c20005", "5"},
      {"pure fraction", "c032", "0.50"},
      {"fraction below a hundredth", "bf05", "0.0005"},
      {"negative", "3e5742", "-12.34"},
      {"negative with trailing zero bytes", "3e574600", "-12.3000"},
      {"negative whole number", "3d63", "-100"},
      {"all zero digits", "c10000", "0"},
      {"negative zero digits", "3e0000", "0"},
      {"NULL", "0000", ""},
      {"00 01 is not NULL but exponent 63", "0001", "-9.9e+125"},
      {"largest exponent", "ff01", "1e+124"},
      {"largest exponent, largest digit", "ff63", "9.9e+125"},
      {"smallest exponent", "8001", "1e-130"},
      {"smallest negative", "7f63", "-1e-130"},
      {"79 characters fit", "e801", "1" + zeros(78)},
      {"80 characters do not", "e80a", "1e+79"},
      {"sign makes 80", "1763", "-1e+78"},
      {"long fraction fits", "9b01", "0." + zeros(75) + "1"},
      {"long fraction does not", "9a01", "1e-78"},
      {"scientific drops trailing zeros", "f30c1e00", "1.23e+101"},
      {"scientific with one digit", "f305", "5e+100"},
      {"negative scientific", "0c5746", "-1.23e+101"},
  };
  for (const DecimalCase& c : cases) {
    auto wire = bytes(c.hex);
    EXPECT_EQ(shown(wire, static_cast<int>(wire.size())), c.text) << c.what << " (" << c.hex << ")";
  }
}

TEST(Decimal, FieldLengthAndDigitLimits) {
  // Digits 1..19 after an exponent of 8: only 17 bytes are taken and the
  // record keeps the first 16.
  std::vector<uint8_t> wire = {0xc8};
  for (int d = 1; d <= 19; ++d) wire.push_back(static_cast<uint8_t>(d));
  EXPECT_EQ(shown(wire, 20), "102030405060708.0910111213141516");

  // A leading zero byte leaves room for all 16 significant digits.
  std::vector<uint8_t> lead = {0xc9, 0x00};
  for (int d = 1; d <= 16; ++d) lead.push_back(static_cast<uint8_t>(d));
  EXPECT_EQ(shown(lead, 18), "102030405060708.0910111213141516");

  // The length limits the digits even when more bytes follow.
  EXPECT_EQ(shown(bytes("c10c22"), 2), "12");
  // No digit bytes at all: zero. Length 0 still tests two bytes for NULL.
  EXPECT_EQ(shown(bytes("c1"), 1), "0");
  EXPECT_EQ(shown(bytes("c10c"), 0), "0");
  EXPECT_EQ(shown(bytes("0000"), 0), "");
  EXPECT_EQ(shown(bytes("0000"), 1), "");
}

TEST(Decimal, LoadedRecord) {
  struct {
    std::string hex;
    int16_t exp, sign, ndgts;
    std::vector<uint8_t> dgts;
  } cases[] = {
      {"c10c22", 1, 1, 2, {12, 34}}, {"3e5742", 1, 0, 2, {12, 34}},
      {"c2000500", 1, 1, 2, {5, 0}}, {"0000", 0, -1, 0, {}},
      {"0001", 63, 0, 1, {99}},      {"3e574600", 1, 0, 3, {12, 30, 0}},
  };
  for (auto& c : cases) {
    auto wire = bytes(c.hex);
    Decimal rec;
    rec.exp = rec.ndgts = 0x5555;
    memset(rec.dgts, 0x55, sizeof rec.dgts);
    EXPECT_EQ(lddecimal(wire.data(), static_cast<int>(wire.size()), &rec), 0);
    EXPECT_EQ(rec.exp, c.exp) << c.hex;
    EXPECT_EQ(rec.sign, c.sign) << c.hex;
    ASSERT_EQ(rec.ndgts, c.ndgts) << c.hex;
    EXPECT_EQ(std::vector<uint8_t>(rec.dgts, rec.dgts + rec.ndgts), c.dgts) << c.hex;
    for (int i = rec.ndgts; i < 16; ++i) EXPECT_EQ(rec.dgts[i], 0) << c.hex;
  }
}

TEST(Decimal, PaddingAndFailures) {
  Decimal rec;
  auto wire = bytes("c10c22");
  lddecimal(wire.data(), 3, &rec);
  char buf[12];
  memset(buf, '#', sizeof buf);
  ASSERT_EQ(dectoasc(&rec, buf, 8, -1), 0);
  EXPECT_EQ(std::string(buf, 9), "12.34   #");

  // Too narrow even for the scientific form: the buffer stays as it was.
  memset(buf, '#', sizeof buf);
  EXPECT_EQ(dectoasc(&rec, buf, 4, -1), kTextTooLong);
  EXPECT_EQ(std::string(buf, 12), std::string(12, '#'));

  // A digit byte above 99 is no DECIMAL.
  Decimal bad = rec;
  bad.dgts[1] = 100;
  EXPECT_EQ(dectoasc(&bad, buf, 8, -1), kTextBadValue);
  EXPECT_EQ(std::string(buf, 12), std::string(12, '#'));

  // NULL: all blanks.
  Decimal null;
  null.sign = -1;
  ASSERT_EQ(dectoasc(&null, buf, 5, -1), 0);
  EXPECT_EQ(std::string(buf, 6), "     #");
}

TEST(Decimal, FixedNumberOfDecimals) {
  struct {
    std::string hex;
    int right;
    std::string text;
  } cases[] = {
      {"c10c222d", 2, "12.34"},  // 12.3445
      {"c10c2232", 2, "12.35"},  // 12.3450: half rounds away from zero
      {"c109636363", 2, "10.00"}, {"c10963", 0, "10"},          {"bf28", 2, "0.00"},  // 0.0040
      {"4060", 2, "0.00"},        // -0.0004 rounds to zero and loses its sign
      {"3e5a000a", 2, "-10.00"},  // -9.999 rounds away from zero
      {"3e5742", 4, "-12.3400"},  // padded
      {"c10000", 2, "0.00"},      {"c50163", 1, "199000000.0"},  // 0.0199 * 100^5
  };
  for (auto& c : cases) {
    auto wire = bytes(c.hex);
    Decimal rec;
    lddecimal(wire.data(), static_cast<int>(wire.size()), &rec);
    char buf[80];
    ASSERT_EQ(dectoasc(&rec, buf, 79, c.right), 0) << c.hex;
    ldchar(buf, 79, buf);
    EXPECT_EQ(std::string(buf), c.text) << c.hex << " to " << c.right;
  }
}

}  // namespace
}  // namespace wp
