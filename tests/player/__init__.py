"""Plays the scenarios: docs/scenarios.md describes their form."""
