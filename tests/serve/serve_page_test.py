"""The web page of invoice-extract serve in a real browser: headless Chromium,
driven by Selenium, uploads the bundled sample and a file that is not an
invoice and reads the verdicts from the page; the file picker is reached by
keyboard and the page fits a phone's width. With SERVE_SCREENSHOT=FILE it
also saves a screenshot of the sample's answer there."""
import os
import shutil
import tempfile
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

from serve_support import CORPUS, SAMPLE, Server

TOOL = os.environ["INVOICE_EXTRACT_TOOL"]
NOT_INVOICE = os.path.join(CORPUS, "others", "RE-E-974-Hetzner_2016-01-19_R0005532486.pdf")


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = Server(TOOL, "--jobs", "2")
        cls.profile = tempfile.mkdtemp(prefix="serve_chromium_")
        options = Options()
        options.binary_location = "/usr/bin/chromium"
        for argument in ("--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                         "--disable-background-networking", "--disable-component-update", "--disable-sync",
                         "--user-data-dir=" + cls.profile, "--window-size=1000,1200"):
            options.add_argument(argument)
        cls.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        cls.url = "http://%s:%d/" % (cls.server.host, cls.server.port)

    @classmethod
    def tearDownClass(cls):
        cls.driver.quit()
        cls.server.stop()
        shutil.rmtree(cls.profile, ignore_errors=True)

    def upload(self, path):
        driver = self.driver
        driver.get(self.url)
        driver.find_element(By.ID, "file").send_keys(path)
        name = os.path.basename(path)
        WebDriverWait(driver, 30).until(lambda d: d.find_element(By.ID, "status").text == name + ":")
        return driver.find_element(By.ID, "verdict")

    def test_verdicts(self):
        # file, verdict, class, explanation
        rows = [(SAMPLE, "ZUGFeRD invoice", "good", ""),
                (NOT_INVOICE, "not a PDF/A-3 document", "bad", "no PDF/A identification in the XMP metadata")]
        for path, verdict_text, verdict_class, explanation in rows:
            with self.subTest(os.path.basename(path)):
                verdict = self.upload(path)
                self.assertEqual(verdict.text, verdict_text)
                self.assertEqual(verdict.get_attribute("class"), verdict_class)
                self.assertEqual(self.driver.find_element(By.ID, "explanation").text, explanation)
                details = self.driver.find_element(By.ID, "details").text
                self.assertIn("Result code", details)
                invoice = self.driver.find_element(By.ID, "invoice")
                if verdict_class == "good":
                    WebDriverWait(self.driver, 30).until(lambda d: invoice.is_displayed())
                    self.assertIn("CrossIndustryDocument", self.driver.find_element(By.ID, "xml").text)
                    self.assertTrue(self.driver.find_element(By.ID, "download").is_displayed())
                    screenshot = os.environ.get("SERVE_SCREENSHOT")
                    if screenshot:
                        self.driver.save_screenshot(screenshot)
                else:
                    self.assertFalse(invoice.is_displayed())

    def test_keyboard_and_phone(self):
        driver = self.driver
        driver.get(self.url)
        driver.find_element(By.TAG_NAME, "body").send_keys(Keys.TAB)
        self.assertEqual(driver.switch_to.active_element.get_attribute("id"), "file")
        driver.set_window_size(390, 844)
        try:
            wide = driver.execute_script("return document.documentElement.scrollWidth > window.innerWidth")
            self.assertFalse(wide, "the page must fit a phone's width")
        finally:
            driver.set_window_size(1000, 1200)


if __name__ == "__main__":
    unittest.main()
