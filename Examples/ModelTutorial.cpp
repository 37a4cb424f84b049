// The program of Docs/models.md: a model, an observer, a round trip through a file, and settings.

#include <Orvane/Orvane.h>

#include <iostream>

using namespace orv;

class Invoice : public OrvObject {
  ORV_MODEL(Invoice, OrvObject)
  ORV_DYNAMIC(NSString, title, setTitle)
  ORV_DYNAMIC(NSNumber, total, setTotal)
  ORV_DYNAMIC(Ref<OrvObject>, customer, setCustomer)
};

class Preferences : public OrvSettings {
  ORV_MODEL(Preferences, OrvSettings)
  ORV_DYNAMIC(NSNumber, dpi, setDpi)
};

namespace {

void editInvoice(const NSURL& file) {
  Ref<Invoice> invoice = Invoice::initWithJSONFromURL(file);
  invoice->setTitle("Lamps");
  invoice->setTotal(NSDecimalNumber::decimalNumberWithString("129.90"));
  (*invoice)["paid"] = false;
  invoice->setJsonDictionary(
      invoice->jsonDictionary().mergeDict({{"customer", NSDictionary{{"name", "Ada"}}}}));
  if (invoice->needsSave()) std::cout << "saved: " << invoice->writeAsJSON(file) << '\n';
}

void readInvoice(const NSURL& file) {
  Ref<Invoice> invoice = Invoice::initWithJSONFromURL(file);
  std::cout << invoice->title() << " for " << invoice->customer()->objectForKey("name") << '\n';
  std::cout << Value(invoice).valueForKeyPath("customer.name") << '\n';
}

void watchInvoice() {
  Ref<Invoice> invoice = make<Invoice>();
  auto token = invoice->addObserver("title", [](const NSString& key, const NSDictionary& change) {
    std::cout << key << ": " << change["old"] << " -> " << change["new"] << '\n';
  });
  invoice->setTitle("Lamps");
  invoice->setObject("Chairs", "title");
  token = nil;
  invoice->setTitle("Tables");
}

void useSettings(const NSURL& file) {
  auto settings = OrvSettings::initWithURL<Preferences>(file, {{"dpi", 300}, {"author", "nobody"}});
  auto dpi = NSValueTransformer::valueTransformerForName("OrvDPITransformer");
  settings->setDpi(dpi->reverseTransformedValue("4800").as<NSNumber>());
  std::cout << "shown: " << dpi->transformedValue(settings->dpi()) << '\n';
}

}  // namespace

int main() {
  const NSURL folder = NSFileManager::defaultManager()->zuTempFolder();
  const NSURL file = folder.URLByAppendingPathComponent("invoice.json");
  editInvoice(file);
  readInvoice(file);
  watchInvoice();
  const NSURL settings = folder.URLByAppendingPathComponent("settings.json");
  useSettings(settings);
  std::cout << NSString(NSData::dataWithContentsOfFile(settings.path()).view()) << '\n';
}
