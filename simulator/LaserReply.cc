#include "simulator/LaserReply.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "simulator/Packets.h"
#include "simulator/WireWriter.h"

namespace moxsupply::simulator {

namespace {

constexpr std::uint8_t kLongForm = 0;
constexpr std::uint8_t kShortForm = 1;

// ---- The supplies table: a tree of tagged elements.

void writeElement(WireWriter& out, const Element& element) {
  out.u8(element.tag);
  out.u8(element.longForm ? kLongForm : kShortForm);
  if (element.longForm) out.zeros(2);
  out.u16(element.body.size());
  out.bytes(element.body);
}

// The group and the supplies table; their children stand in the body.
void writeContainer(WireWriter& out, std::uint8_t tag, std::size_t childCount, const Bytes& body) {
  out.u8(tag);
  out.u8(kLongForm);
  out.u16(childCount);
  out.u16(body.size());
  out.bytes(body);
}

Element field(std::uint8_t tag, Bytes value) { return {.tag = tag, .body = std::move(value)}; }

Element field(std::uint8_t tag, const Number& number) {
  return field(tag, WireWriter().number(number.value, number.bytes).written());
}

std::vector<Element> fieldsOf(const LaserSupply& supply) {
  std::vector<Element> fields;
  if (supply.fixedId) fields.push_back(field(1, *supply.fixedId));
  if (supply.installedId) fields.push_back(field(2, *supply.installedId));
  if (supply.description)
    fields.push_back(field(3, WireWriter().text(*supply.description).written()));
  if (supply.type) fields.push_back(field(7, *supply.type));
  if (supply.maxLevel) fields.push_back(field(15, *supply.maxLevel));
  if (supply.level) fields.push_back(field(16, *supply.level));
  fields.insert(fields.end(), supply.otherFields.begin(), supply.otherFields.end());
  std::ranges::stable_sort(fields, {}, &Element::tag);
  return fields;
}

void writeSupply(WireWriter& out, const LaserSupply& supply) {
  const std::vector<Element> fields = fieldsOf(supply);
  WireWriter written;
  for (const Element& field : fields) writeElement(written, field);

  out.u8(supply.number);
  out.zeros(3);
  out.u16(6 + written.written().size());  // counts what follows it
  out.u8(1);
  out.zeros(1);
  out.u16(fields.size());
  out.zeros(2);
  out.bytes(written.written());
}

Bytes tableChildren(const LaserModel& printer) {
  WireWriter children;
  for (const LaserSupply& supply : printer.supplies) writeSupply(children, supply);
  return children.written();
}

Bytes groupChildren(const LaserModel& printer) {
  constexpr std::uint8_t kTable = 8;
  WireWriter children;
  for (const Element& element : printer.beforeTable) writeElement(children, element);
  writeContainer(children, kTable, printer.supplies.size(), tableChildren(printer));
  for (const Element& element : printer.afterTable) writeElement(children, element);
  return children.written();
}

// ---- The record of the model family.

// `perSupply`: the size of one supply's part.
void writeHead(WireWriter& out, const LaserModel& printer, std::size_t supplies,
               std::size_t perSupply, std::uint8_t location, std::uint8_t type) {
  out.u8(printer.serialNumber.size());
  out.text(printer.serialNumber);
  out.u8(supplies);
  out.u8(printer.recordLength ? *printer.recordLength : perSupply & 0xFF);
  out.u8(location);
  out.u8(type);
}

void writeRecord(WireWriter& /*out*/, const LaserModel& /*printer*/, std::monostate /*none*/) {}

void writeRecord(WireWriter& out, const LaserModel& printer, const SingleSupplyRecord& record) {
  writeHead(out, printer, 1, 35 + record.partNumber.size(), record.location, 1);
  out.u8(record.supply);
  out.u32(record.firstPageCount);
  out.u32(record.currentPageCount);
  out.u32(record.currentPageLevel);
  out.u32(record.previousPageLevel);
  out.u8(record.maxLevel);
  out.u8(record.level);
  out.u8(record.tonerType);
  out.u8(record.partNumber.size());
  out.text(record.partNumber);
  out.u32(record.tonerCapacity);
  out.u16(record.lastLevelLight);
  out.u16(record.lastLevelDark);
  out.u16(record.lightGradation);
  out.u16(record.darkGradation);
  out.u16(record.currentVantor);
}

void writeRecord(WireWriter& out, const LaserModel& printer, const PagesRecord& record) {
  writeHead(out, printer, record.supplies.size(), 14, 0, 2);
  for (const PagesRecord::Supply& supply : record.supplies) {
    out.u8(supply.number);
    out.u8(supply.location);
    out.u32(supply.maxLevel);
    out.u32(supply.level);
    out.u32(supply.pagesCapacity);
  }
}

void writeRecord(WireWriter& out, const LaserModel& printer, const DotsRecord& record) {
  writeHead(out, printer, record.supplies.size(), 9, 0, 3);
  for (const DotsRecord::Supply& supply : record.supplies) {
    out.u8(supply.number);
    out.u32(supply.maxLevel);
    out.u32(supply.level);
  }
}

void writeRecord(WireWriter& out, const LaserModel& printer, const UnknownRecord& record) {
  writeHead(out, printer, 0, record.body.size(), 0, record.type);
  out.bytes(record.body);
}

}  // namespace

Bytes suppliesTable(const LaserModel& printer) {
  constexpr std::uint8_t kGroup = 2;
  WireWriter table;
  table.u16(1);  // anything but 0
  table.zeros(36);
  table.u8(1);  // the form of this record
  table.zeros(1);
  table.u16(printer.beforeGroup.size() + 1 + printer.afterGroup.size());
  table.zeros(2);
  for (const Element& element : printer.beforeGroup) writeElement(table, element);
  writeContainer(table, kGroup, printer.beforeTable.size() + 1 + printer.afterTable.size(),
                 groupChildren(printer));
  for (const Element& element : printer.afterGroup) writeElement(table, element);
  return table.written();
}

Bytes familyRecord(const LaserModel& printer) {
  WireWriter record;
  std::visit([&](const auto& kind) { writeRecord(record, printer, kind); }, printer.record);
  return record.written();
}

std::vector<Bytes> deviceReply(const LaserModel& printer, std::span<const std::size_t> sizes) {
  constexpr std::array<std::uint8_t, 4> kHead = {0xE0, 0x21, 0x01, 0x00};
  return wrapIntoPackets(kHead, suppliesTable(printer), sizes);
}

std::vector<Bytes> suppliesReply(const LaserModel& printer, std::span<const std::size_t> sizes) {
  constexpr std::array<std::uint8_t, 3> kHead = {0xE0, 0x07, 0x02};
  return wrapIntoPackets(kHead, familyRecord(printer), sizes);
}

}  // namespace moxsupply::simulator
