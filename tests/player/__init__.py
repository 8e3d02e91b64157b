"""Plays the scenarios: docs/testing.md describes their form."""
