"""Damage and kills in firmware upgrades, a few of each; bench/suite/faults.py has them all."""

import hashlib

import pytest
from firmware import image_of, payload
from firmware import entry as entry_of
from tracing import can_trace
from upgrade_faults import Site, damaged, faults_of_a_link_too_early, faults_of_images, faults_of_kills

needs_tracing = pytest.mark.skipif(not can_trace(), reason="strace is not there or not allowed")


@pytest.fixture(scope="module")
def site(tmp_path_factory):
    return Site(tmp_path_factory.mktemp("site"))


def test_damaged_images(site):
    assert faults_of_images(site, damaged(site, 25, 25)) == []


def test_images_that_are_not_what_was_announced(site):
    image = site.image.read_bytes()
    assert faults_of_images(site, [("another MD5", image)], MD5=hashlib.md5(b"").hexdigest()) == []
    assert faults_of_images(site, [("another size", image)], FileSize=len(image) + 1) == []


def test_a_sound_image_among_the_damaged_is_noticed(site):
    content = b"sound"
    manifest = {"format": 1, "model": site.model, "version": "3", "payloads": [payload("root", content)]}
    assert faults_of_images(site, [("none", image_of(manifest, entry_of("root", content)))]) == ["none: taken"]


@needs_tracing
@pytest.mark.parametrize("call", ["renameat", "mkdirat", "linkat"])
def test_killed_at(site, call):
    faults, kills = faults_of_kills(site, [call])
    assert faults == []
    assert kills > 0


@needs_tracing
def test_a_link_that_is_replaced_too_early_is_noticed(site):
    assert "the link too early: what runs is not whole" in faults_of_a_link_too_early(site)
