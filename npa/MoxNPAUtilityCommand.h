#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "channel/MoxFilterComm.h"
#include "values/Dictionary.h"
#include "values/Export.h"
#include "values/Status.h"

// Speaks NPA with the printer: sends canned requests, gathers the packets of a reply, and decodes
// replies into dictionaries.
//
// A packet is the byte A5, a big-endian 16-bit length of what follows the length, a flags byte
// whose bit 20 says that more packets of the same reply follow, and the body.
//
// Each part names the sources in which its bodies are.
//
// Every decoder takes a span, whose end no read passes, and beside it a length with a meaning of
// its own. Nothing throws; where memory runs out, a query gives kUndecodable and a decoder nothing.
class MOXSUPPLY_EXPORT MoxNPAUtilityCommand {
 public:
  // Requests: CPDQuery.cc, PSSDQuery.cc, LoopBack.cc

  // Copies the inkjet query (8 bytes) into `query`. Always kSuccess.
  moxsupply::Status assembleCPDquery(std::span<std::uint8_t, 8> query) const noexcept;

  // Copies the laser query for the model-family record (27 bytes) into `query`. Always kSuccess.
  moxsupply::Status assemblePSSDquery(std::span<std::uint8_t, 27> query) const noexcept;

  // Writes the loop-back request (9 bytes) and reads no reply. kSuccess or kWriteError.
  moxsupply::Status sendDataLoopBack() const noexcept;

  // Replies: NPAReply.cc

  // Gathers one reply: its packets, each with its own start byte, length and flags, back to back
  // from the start of `reply`. `lengthOfResponse` becomes the number of bytes stored.
  //
  // `timeOut`: seconds for each single read. Blocks until the reply is whole, a read brings
  // nothing, or 65,536 bytes have come. A reply whose last packet came in one read also waits for
  // a read that brings nothing: only the packets of later reads are known to be the last.
  //
  //   kSuccess    6 bytes or more are stored. The reply may still be cut short, and what does not
  //               fit `reply` was read but is not stored
  //   kReadError  fewer came; `lengthOfResponse` is 0, and the few bytes are in `reply`
  moxsupply::Status getNPAReply(std::span<std::uint8_t> reply, std::uint32_t& lengthOfResponse,
                                std::uint32_t timeOut) const noexcept;

  // The inkjet conversation: CPDQuery.cc

  // Asks for the printer's items and replaces the contents of `items` by the CPD dictionary: the
  // keys of CPDTriplet, each with the bytes of its item as the printer sent them.
  //
  // `withTimeout`: seconds for each single read; up to four replies are looked at. Blocks.
  //   kWriteError       the request did not go out
  //   kNothingReceived  no reply was the answer to the request
  //   kReadError        the answer broke off within its first 6 bytes
  //   kUndecodable      the answer holds no items
  // On failure `items` is left as it was.
  moxsupply::Status cpdQueryAll(moxsupply::Dictionary& items,
                                std::uint32_t withTimeout) const noexcept;

  // Decodes a gathered inkjet reply of `withLength` bytes into the CPD dictionary. Returns nothing
  // for a reply below 8 or above 65,535 bytes, with another head than the request's, without item
  // data, or with an item count of 0.
  [[nodiscard]] std::optional<moxsupply::Dictionary> parseCPDQueryResponse(
      std::span<const std::uint8_t> reply, std::uint32_t withLength) const noexcept;

  // The laser conversation: PSSDQuery.cc

  // Asks for the supplies table, then for the model-family record, and replaces the contents of
  // `supplies` by the printer's supplies:
  //   "Supplies Count"   number; absent when the supplies table cannot be decoded
  //   {"Supply", n}      a dictionary for supply number n with, as far as the printer gave them,
  //                      the fields that extractSuppliesResponse returns
  // A supply without "Max Level" or without "Current Level" has both from the model-family record.
  // Without that record the supplies table stands alone: its exchange never fails the query.
  //
  // `withTimeout`: seconds for each single read; up to four replies are looked at in each exchange.
  // Blocks.
  //   kWriteError       the request for the supplies table did not go out
  //   kNothingReceived  no reply was the answer to it
  //   kReadError        the answer broke off within its first 6 bytes
  // On failure `supplies` is left as it was.
  moxsupply::Status pssdQueryAll(moxsupply::Dictionary& supplies,
                                 std::uint32_t withTimeout) const noexcept;

  // Decodes a gathered reply of `withLength` bytes to the request for the supplies table: joins the
  // payloads of its packets and decodes the record, as extractSuppliesResponse does. Returns an
  // empty dictionary when that gives nothing; nothing for a reply below 8 bytes or with another
  // head.
  [[nodiscard]] std::optional<moxsupply::Dictionary> parsePSSDDeviceResponse(
      std::span<const std::uint8_t> reply, std::uint32_t withLength) const noexcept;

  // Decodes a gathered reply of `withLength` bytes to the request for the model-family record, with
  // the decoder that the record's type byte names. Returns nothing for a reply below 8 bytes, with
  // another head, or with a record type other than 1, 2 and 3.
  [[nodiscard]] std::optional<moxsupply::Dictionary> parsePSSDQueryResponse(
      std::span<const std::uint8_t> reply, std::uint32_t withLength) const noexcept;

  // The record of the supplies table: SuppliesTable.cc

  // Decodes the supplies table in a device-data record: elements by tag, group 2, in it table 8, in
  // it the supplies. Returns "Supplies Count" and for each supply, under {"Supply", n} with n from
  // the first byte of its entry, a dictionary of
  //   "Fixed ID" (tag 1), "Installed ID" (2), "Supply Type" (7), "Max Level" (15),
  //   "Current Level" (16)   numbers, as many as the entry has
  //   "Description" (3)      UTF-8; left out where the printer's bytes are not
  // Returns nothing when the record has no such table. A table that breaks off gives the supplies
  // before the break. Writes 1 into the seventh byte of each entry read. `withLength` is ignored.
  [[nodiscard]] std::optional<moxsupply::Dictionary> extractSuppliesResponse(
      std::span<std::uint8_t> record, std::uint32_t withLength) const noexcept;

  // The model-family records: KelvoRecords.cc

  // Decode the three model-family records, of types 1, 2 and 3. All hold "Serial Number" (text),
  // "Supplies Count", "Record Length" and "Toner Prediction" (the type). Type 1 is of one supply,
  // with "Supply ID", "Kelvo Max Level", "Kelvo Cur Level" and more beside these; types 2 and 3
  // hold a dictionary for each supply, with the two levels and more, under the supply's number as a
  // bare number. What does not lie whole in `record` is left out.
  // Return nothing when `withLength` modulo 65536 is 0; it has no other meaning.
  [[nodiscard]] std::optional<moxsupply::Dictionary> parseKelvoS(
      std::span<const std::uint8_t> record, std::uint32_t withLength) const noexcept;
  [[nodiscard]] std::optional<moxsupply::Dictionary> parseKelvoSC(
      std::span<const std::uint8_t> record, std::uint32_t withLength) const noexcept;
  [[nodiscard]] std::optional<moxsupply::Dictionary> parseKelvoColor(
      std::span<const std::uint8_t> record, std::uint32_t withLength) const noexcept;

 private:
  MoxFilterComm mFilterCom;
};
